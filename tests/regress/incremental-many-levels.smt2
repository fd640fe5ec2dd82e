; Several levels in one command.
(set-logic QF_LRA)
(declare-fun x () Real)
(push 2)
(assert (> x 1))
(push)
(assert (< x 1))
(check-sat)
(get-info :assertion-stack-levels)
; expect: unsat
; expect: (:assertion-stack-levels 3)
(pop 3)
(get-info :assertion-stack-levels)
(assert (= x 1))
(check-sat)
; expect: (:assertion-stack-levels 0)
; expect: sat
