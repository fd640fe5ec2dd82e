(declare-const x Real)
(assert false)
(assert (< (* x x) 0))
(check-sat)
