; A cycle of differences.
(set-logic QF_RDL)
(declare-fun a () Real)
(declare-fun b () Real)
(declare-fun c () Real)
(assert (<= (- a b) (- 1)))
(assert (<= (- b c) (- 1)))
(push 1)
(assert (<= (- c a) 2))
(check-sat)
; expect: sat
(pop 1)
(assert (< (- c a) 2))
(check-sat)
; expect: unsat
