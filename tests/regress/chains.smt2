; Comparisons of more than two terms hold between neighbours.
(set-logic QF_LRA)
(declare-fun a () Real)
(declare-fun b () Real)
(declare-fun c () Real)
(push 1)
(assert (< a b c a))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (<= a b c a))
(assert (= b 3))
(check-sat)
(get-value (a c))
; expect: sat
; expect: ((a 3.0)
; expect:  (c 3.0))
(pop 1)
(assert (= a b c (+ a 0)))
(assert (> a c))
(check-sat)
; expect: unsat
