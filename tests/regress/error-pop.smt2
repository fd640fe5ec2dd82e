; Popping more than was pushed does nothing.
(declare-fun x () Real)
(push 2)
(assert (> x 0))
(pop 3)
; expect: (error "error-pop.smt2:5:1: popping 3 levels, but only 2 are pushed")
(assert (< x 0))
(check-sat)
; expect: unsat
(pop 2)
(check-sat)
; expect: sat
(pop)
; expect: (error "error-pop.smt2:13:1: popping 1 level, but only 0 are pushed")
; expect-exit: 1
