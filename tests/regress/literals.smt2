; The ways to write a number.
(set-logic QF_LRA)
(declare-fun x () Real)
(define-fun third () Real (/ 1 3))
(assert (= x (+ 1 2.50 (- 2.5) (to_real 3) (/ 1.0 4) (/ (- 1) 4) (- (/ 3 2)) (* 3 third))))
(check-sat)
; expect: sat
(get-value (x))
; expect: ((x (/ 7.0 2.0)))
(assert (> x -1))
; expect: (error "literals.smt2:10:14: unknown symbol '-1'; negative numbers are written (- 1)")
(assert (> x 1/2))
; expect: (error "literals.smt2:12:14: malformed number '1/2'")
(assert (> x .5))
; expect: (error "literals.smt2:14:14: unknown symbol '.5'")
(assert (> x #b1))
; expect: (error "literals.smt2:16:14: literals of this kind have no sort in this logic")
; expect-exit: 1
