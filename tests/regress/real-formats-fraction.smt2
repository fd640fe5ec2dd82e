; Values as plain fractions.
; args: --real-format=fraction
(declare-fun x () Real)
(declare-fun y () Real)
(assert (and (= (* 3 x) (- 1)) (= y 2)))
(check-sat)
; expect: sat
(get-value (x y (* 3 y)))
; expect: ((x -1/3)
; expect:  (y 2)
; expect:  ((* 3 y) 6))
