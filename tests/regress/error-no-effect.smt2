; A command with an error in it changes nothing, not even the names that it gave.
(declare-fun x () Real)
(assert (and (! (> x 0) :named positive) (< x true)))
; expect: (error "error-no-effect.smt2:3:42: '<' takes arguments of sort Real, but argument 2 is of sort Bool")
(assert (! (< x 0) :named positive))
(check-sat)
; expect: sat
(assert positive)
(check-sat)
; expect: sat
; expect-exit: 1
