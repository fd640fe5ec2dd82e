; A name given inside a term can be used from there on.
(set-logic QF_LRA)
(declare-fun x () Real)
(assert (> (! (+ x 1) :named inc) 5))
(assert (and (! (< inc 7) :named short :weight 3) (! short :pattern (x))))
(check-sat)
; expect: sat
(get-value ((< 5 inc 7) short))
; expect: (((< 5 inc 7) true)
; expect:  (short true))
(assert (= inc 5))
(check-sat)
; expect: unsat
