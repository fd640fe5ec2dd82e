; Coefficients that no machine word or floating-point number can hold: the answers are exact all the same.
; expect: sat
; expect: ((x (- 1000000000000000000000.0))
; expect:  (y 1000000000000000000001.0))
; expect: unsat
(set-logic QF_LRA)
(set-option :produce-models true)
(declare-const x Real)
(declare-const y Real)
(assert (= (+ x y) 1))
(assert (= (+ (* 1000000000000000000001 x) (* 1000000000000000000000 y)) 0))
(check-sat)
(get-value (x y))
(assert (> (+ (* 3 x) (* 3 y)) (/ 3000000000000000000000000000000 1000000000000000000000000000000)))
(check-sat)
