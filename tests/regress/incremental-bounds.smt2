; Levels of bounds on one sum.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(assert (<= 0 x 10))
(assert (<= 0 y 10))
(push 1)
(assert (>= (+ x y) 20))
(check-sat)
; expect: sat
(get-value (x y))
; expect: ((x 10.0)
; expect:  (y 10.0))
(push 1)
(assert (< x 10))
(check-sat)
; expect: unsat
(pop 2)
(assert (< x 10))
(check-sat)
; expect: sat
(push 1)
(assert (>= (+ (* 2 x) (* 2 y)) 40))
(check-sat)
; expect: unsat
(pop 1)
(check-sat)
; expect: sat
