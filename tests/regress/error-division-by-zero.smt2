; A divisor that comes to zero.
(declare-fun x () Real)
(assert (= x (/ 1 0)))
; expect: (error "error-division-by-zero.smt2:3:14: division by zero")
(assert (= x (/ x 0.0)))
; expect: (error "error-division-by-zero.smt2:5:14: division by zero")
(assert (= x (/ 4 (- 2 (+ 1 1)))))
; expect: (error "error-division-by-zero.smt2:7:14: division by zero")
(assert (= x (/ 4 2)))
(check-sat)
(get-value (x))
; expect: sat
; expect: ((x 2.0))
; expect-exit: 1
