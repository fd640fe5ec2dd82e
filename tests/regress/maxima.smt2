; Maxima in all ways to write them: units of a network, between bounds on what goes in.
(set-logic QF_LRA)
(declare-const x1 Real)
(declare-const x2 Real)
(declare-const a1 Real)
(declare-const a2 Real)
(declare-const b1 Real)
(declare-const b2 Real)
(declare-const c Real)
(declare-const d Real)
(assert (<= (- 1) x1 1))
(assert (and (>= x2 (- 1)) (<= x2 1)))
; a rectifier, and one with a leak
(assert (= a1 (ite (>= (+ x1 (* 2 x2)) 0) (+ x1 (* 2 x2)) 0)))
(assert (= a2 (ite (< (- x1 x2) 0) (* 0.1 (- x1 x2)) (- x1 x2))))
; the absolute value, as a formula; the least of two, scaled
(assert (or (and (<= a1 a2) (= b1 (- a2 a1))) (and (not (<= a1 a2)) (= b1 (- a1 a2)))))
(assert (= (* 2 b2) (ite (> (* 3 a1) (* 3 x2)) (* 2 x2) (* 2 a1))))
; the greatest of three
(assert (or (= c b1) (= c b2) (= c (- 0.5 a1))))
(assert (and (>= c b1) (>= c b2) (>= c (- 0.5 a1))))
; one within a sum
(assert (= d (+ x1 (* 3 (ite (>= c 1) (- c 1) 0)))))
(check-sat)
; expect: sat
(push 1)
(assert (> c 4))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (>= c 3.2))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (>= c 3))
(check-sat)
; expect: sat
(get-value (x1 x2 a1 a2 b1 c d))
; expect: ((x1 1.0)
; expect:  (x2 1.0)
; expect:  (a1 3.0)
; expect:  (a2 0.0)
; expect:  (b1 3.0)
; expect:  (c 3.0)
; expect:  (d 7.0))
(pop 1)
(push 1)
(assert (> d 7))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (>= d 7))
(check-sat)
; expect: sat
(pop 1)
(push 1)
(assert (< c 0))
(check-sat)
; expect: unsat
(pop 1)
(assert (< b2 (- 1)))
(check-sat)
; expect: unsat
