; Negated comparisons turn round; negations cancel.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun p () Bool)
(assert (not (< x 3)))
(assert (not (not (not (> x 3)))))
(assert (not (or (not p) (> x 4) (=> p (> x 3)))))
(check-sat)
(get-value (x p))
; expect: sat
; expect: ((x 3.0)
; expect:  (p true))
