; Numbers beyond any machine word.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(assert (= x 123456789012345678901234567890123456789.5))
(assert (= (* 3 y) x))
(assert (<= (- x 123456789012345678901234567890123456789) (/ 1 2)))
(check-sat)
; expect: sat
(get-value (x y))
; expect: ((x (/ 246913578024691357802469135780246913579.0 2.0))
; expect:  (y (/ 246913578024691357802469135780246913579.0 6.0)))
(assert (> x (+ 123456789012345678901234567890123456789 0.500000000000000000000000000000001)))
(check-sat)
; expect: unsat
