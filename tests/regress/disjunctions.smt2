; Formulas of all shapes, level by level.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun p () Bool)
(push 1)
(assert (or (< x 0) (> x 1)))
(check-sat)
; expect: sat
(assert (=> p (= x 1)))
(assert (ite p (> x 2) (<= x 1)))
(check-sat)
; expect: sat
(get-value (p (< x 0)))
; expect: ((p false)
; expect:  ((< x 0) true))
(assert (>= x 0))
(check-sat)
; expect: unsat
(pop 1)
(check-sat)
; expect: sat
(assert (or false (> x 1) (not true)))
(assert (= (ite p x (- x)) 3))
(assert (distinct p true))
(check-sat)
; expect: unsat
