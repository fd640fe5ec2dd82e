; Whether a bound is strict decides.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(assert (<= (* 2 x) (+ y 1)))
(assert (>= (* 2 x) (+ y 1)))
(push 1)
(assert (< (- (* 4 x) (* 2 y)) 2))
(check-sat)
; expect: unsat
(pop 1)
(assert (<= (- (* 4 x) (* 2 y)) 2))
(check-sat)
; expect: sat
