; Sums that are met for the first time between checks.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(declare-fun z () Real)
(assert (>= (+ x y) 2))
(check-sat)
; expect: sat
(assert (>= (+ y z) 2))
(check-sat)
; expect: sat
(assert (>= (+ x z) 2))
(assert (<= x 1))
(assert (<= y 1))
(assert (<= z 1))
(check-sat)
(get-value ((+ x y z)))
; expect: sat
; expect: (((+ x y z) 3.0))
(assert (< (+ x y z) 3))
(check-sat)
; expect: unsat
