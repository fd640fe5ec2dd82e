; Traces and figures go to standard error.
; args: --stats
(declare-fun x () Real)
(assert (> x 0))
(check-sat)
; expect: sat
