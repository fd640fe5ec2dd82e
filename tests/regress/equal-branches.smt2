; A choice between equals is a choice all the same.
(declare-const x Real)
(declare-const q Bool)
(assert (= (<= (ite q x x) x) (= x 5) (> x 5)))
(check-sat)
; expect: unsat
