; Products and quotients that are not linear; the session goes on without them.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(define-fun product ((a Real) (b Real)) Real (* a b))
(assert (> x 1))
(assert (< x
   (* 2 x y)))
; expect: (error "error-nonlinear.smt2:8:4: '*' of two non-constant terms is not linear")
(assert (< x (/ 1 y)))
; expect: (error "error-nonlinear.smt2:10:14: '/' by a non-constant term is not linear")
(assert (< (product x 2) (product 3 y)))
(assert (< (product x y) 2))
; expect: (error "error-nonlinear.smt2:13:12: in the expansion of 'product': '*' of two non-constant terms is not linear")
(check-sat)
; expect: sat
; expect-exit: 1
