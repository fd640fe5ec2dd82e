; Only assertions, levels and names go; options stay.
(set-option :produce-unsat-cores true)
(set-logic QF_LRA)
(declare-fun x () Real)
(push 1)
(assert (! (< x x) :named a))
(check-sat)
; expect: unsat
(reset-assertions)
(check-sat)
; expect: sat
(get-info :assertion-stack-levels)
; expect: (:assertion-stack-levels 0)
(declare-fun x () Real)
(assert (! (> x x) :named a))
(check-sat)
(get-unsat-core)
; expect: unsat
; expect: (a)
