; Two constants that are to be equal contradict each other, also when they are no neighbours.
(declare-const q Bool)
(push 1)
(assert (= false q true))
(check-sat)
; expect: unsat
(pop 1)
(assert (not (= false q true)))
(push 1)
(assert q)
(check-sat)
; expect: sat
(pop 1)
(assert (not q))
(check-sat)
; expect: sat
