; Three half-planes without a common point.
(set-logic QF_LRA)
(set-info :status unsat)
(declare-fun x () Real)
(declare-fun y () Real)
(assert (>= x 1))
(assert (>= y 1))
(assert (< (+ x y) 2))
(check-sat)
; expect: unsat
