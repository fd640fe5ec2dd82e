; A model keeps strictly inside strict bounds.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(declare-fun z () Real)
(assert (< 0 x y z (/ 1 1000)))
(assert (> (+ x z) (* 2 y)))
(check-sat)
; expect: sat
(get-value ((< 0 x y z (/ 1 1000)) (> (+ x z) (* 2 y))))
; expect: (((< 0 x y z (/ 1 1000)) true)
; expect:  ((> (+ x z) (* 2 y)) true))
