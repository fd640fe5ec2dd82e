; A system with a solution, and its values.
(set-logic QF_LRA)
(set-info :status sat)
(declare-fun x () Real)
(declare-fun y () Real)
(assert (= (+ x y) 10))
(assert (= (- x y) 4))
(check-sat)
; expect: sat
(get-value (x y))
; expect: ((x 7.0)
; expect:  (y 3.0))
