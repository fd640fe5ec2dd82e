; What is not part of linear real arithmetic is named.
(set-logic QF_LRA)
(declare-sort S 0)
; expect: (error "error-outside-logic.smt2:3:1: sorts other than Bool and Real are not part of this logic")
(declare-datatypes ((T 0)) (((c))))
; expect: (error "error-outside-logic.smt2:5:1: datatypes are not part of this logic")
(define-fun-rec f ((x Real)) Real (f x))
; expect: (error "error-outside-logic.smt2:7:1: recursive functions are not part of this logic; 'define-fun' defines others")
(declare-fun g (Real) Real)
; expect: (error "error-outside-logic.smt2:9:14: 'g' has arguments: uninterpreted functions are not part of this logic")
(declare-fun i () Int)
; expect: (error "error-outside-logic.smt2:11:19: unknown sort 'Int'; the sorts of this logic are Bool and Real")
(assert (forall ((x Real)) (> x 0)))
; expect: (error "error-outside-logic.smt2:13:10: quantifiers are not part of this logic")
(check-sat)
; expect: sat
; expect-exit: 1
