; A script need not name its logic.
(declare-const x Real)
(assert (> (to_real x) 1))
(check-sat)
; expect: sat
(exit)
(check-sat)
