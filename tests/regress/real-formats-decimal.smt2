; Values as decimals that are cut off.
; args: --real-format decimal:5
(declare-fun x () Real)
(declare-fun y () Real)
(assert (and (= (* 3 x) (- 1)) (= (* 4 y) 1)))
(check-sat)
; expect: sat
(get-value (x y (/ x 100000)))
; expect: ((x -0.33333?)
; expect:  (y 0.25)
; expect:  ((/ x 100000) -0.00000?))
