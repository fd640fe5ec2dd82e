; The text ends inside a command.
(declare-fun x () Real)
(check-sat)
; expect: sat
; expect: (error "error-unfinished.smt2:9:1: expected a term, found the end of the input")
; expect-exit: 1
(assert (and (> x 0)
             (< x 1)
