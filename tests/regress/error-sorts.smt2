; Bool where Real is wanted, and the other way round.
(declare-fun x () Real)
(declare-fun p () Bool)
(assert (and p (> (+ p 1) 0)))
; expect: (error "error-sorts.smt2:4:19: '+' takes arguments of sort Real, but argument 1 is of sort Bool")
(assert (not x))
; expect: (error "error-sorts.smt2:6:9: 'not' takes arguments of sort Bool, but argument 1 is of sort Real")
(assert (= x p))
; expect: (error "error-sorts.smt2:8:9: '=' takes arguments of one sort, but argument 1 is of sort Real and argument 2 is of sort Bool")
(assert (ite p x p))
; expect: (error "error-sorts.smt2:10:9: 'ite' branches are of different sorts")
(assert (+ x 1))
; expect: (error "error-sorts.smt2:12:9: an assertion must be of sort Bool, but this is of sort Real")
(define-fun f ((a Real)) Bool (+ a 1))
; expect: (error "error-sorts.smt2:14:31: the body of 'f' is of sort Real, not Bool")
(check-sat)
; expect: sat
; expect-exit: 1
