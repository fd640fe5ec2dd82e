; Unknown names, each with its place.
(declare-fun x () Real)
(assert (> x y))
; expect: (error "error-unknown-symbols.smt2:3:14: unknown symbol 'y'")
(assert (> (f x)
           2))
; expect: (error "error-unknown-symbols.smt2:5:13: unknown function 'f'")
(assert (< x -1))
; expect: (error "error-unknown-symbols.smt2:8:14: unknown symbol '-1'; negative numbers are written (- 1)")
(declare-const z Int)
; expect: (error "error-unknown-symbols.smt2:10:18: unknown sort 'Int'; the sorts of this logic are Bool and Real")
(check-sat)
; expect: sat
; expect-exit: 1
