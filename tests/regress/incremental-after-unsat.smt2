; Assertions made while the level is unsatisfiable go with it.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(push 1)
(assert (> x y))
(assert (< x y))
(check-sat)
; expect: unsat
(push 1)
(assert (= x 5))
(check-sat)
; expect: unsat
(pop 1)
(assert (= y 7))
(check-sat)
; expect: unsat
(pop 1)
(check-sat)
; expect: sat
(assert (= x 1))
(assert (= y 2))
(check-sat)
(get-value (x y))
; expect: sat
; expect: ((x 1.0)
; expect:  (y 2.0))
