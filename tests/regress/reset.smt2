; A reset forgets assertions, names, options and the logic.
(set-option :print-success true)
; expect: success
(set-logic QF_LRA)
; expect: success
(declare-fun x () Real)
; expect: success
(assert (> x x))
; expect: success
(check-sat)
; expect: unsat
(reset)
(set-logic QF_RDL)
(declare-fun x () Bool)
(assert x)
(check-sat)
; expect: sat
