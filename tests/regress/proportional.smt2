; Sums that are multiples of one another are one sum.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(assert (<= (+ x (* 2 y)) 4))
(assert (>= (- (* (- 1 3) x) (* 4 y)) (- 8)))
(assert (>= (+ (/ x 4) (/ y 2)) 1))
(check-sat)
(get-value ((+ x y y)))
; expect: sat
; expect: (((+ x y y) 4.0))
(assert (< (+ (* 3 x) (* 6 y)) 12))
(check-sat)
; expect: unsat
