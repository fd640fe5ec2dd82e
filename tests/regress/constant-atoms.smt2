; Comparisons in which everything cancels are true or false by themselves.
(set-logic QF_LRA)
(declare-fun x () Real)
(assert (<= (- x x) 0))
(assert (= (* 0 x) (- 1 1)))
(check-sat)
; expect: sat
(push 1)
(assert (< (+ x 1) x))
(check-sat)
; expect: unsat
(pop 1)
(assert (not (>= (* 2 x) (+ x x))))
(check-sat)
; expect: unsat
