; Disjunctive structure is answered unknown, unless the rest is unsatisfiable already.
(set-logic QF_LRA)
(declare-fun x () Real)
(push 1)
(assert (or (< x 0) (> x 1)))
(check-sat)
; expect: unknown
(get-info :reason-unknown)
; expect: (:reason-unknown "'or' is not supported so far")
(assert (and (> x 3) (< x 2)))
(check-sat)
; expect: unsat
(pop 1)
(check-sat)
; expect: sat
(assert (or false (> x 1) (not true)))
(assert (ite (< 1 2) (< x 2) (> x 5)))
(assert (=> (> 2 1) (not (= 1 2))))
(check-sat)
; expect-match: sat|unknown
