; Sorts with and without parameters.
(set-logic QF_LRA)
(define-sort Time () Real)
(define-sort Second (A B) B)
(define-sort Flag (A) (Second A (Second Time Bool)))
(declare-fun t () Time)
(declare-fun p () (Flag Time))
(define-fun later ((s Time) (b (Second Bool Real))) (Flag Bool) (> s b))
(assert (and p (later t 5) (not (later t 6))))
(check-sat)
(get-value (p))
; expect: sat
; expect: ((p true))
