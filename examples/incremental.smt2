; Push and pop: a schedule is tightened step by step until it breaks, and relaxed again.
; expect-verdicts: sat sat unsat sat unsat
(set-logic QF_LRA)
(declare-const start Real)
(declare-const middle Real)
(declare-const finish Real)
(assert (>= start 8))
(assert (>= (- middle start) (/ 3 2)))
(assert (>= (- finish middle) (/ 9 4)))
(check-sat)
(push 1)
(assert (<= finish 12))
(check-sat)
(push 1)
(assert (>= start (/ 17 2)))
(check-sat)          ; 17/2 + 3/2 + 9/4 = 49/4 is later than 12
(pop 1)
(check-sat)
(assert (< finish (/ 47 4)))
(check-sat)          ; 8 + 3/2 + 9/4 = 47/4 exactly
(pop 1)
(exit)
