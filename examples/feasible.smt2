; A feasible linear program: a diet that meets three needs, its cost bounded, and one of its models.
; expect-verdicts: sat
(set-logic QF_LRA)
(set-option :produce-models true)
(declare-const bread Real)
(declare-const milk Real)
(declare-const beans Real)
(define-fun cost () Real (+ (* 0.5 bread) (* 0.8 milk) (* 0.3 beans)))
(assert (and (>= bread 0) (>= milk 0) (>= beans 0)))
(assert (>= (+ (* 250 bread) (* 60 milk) (* 120 beans)) 2000))   ; energy
(assert (>= (+ (* 8 bread) (* 3 milk) (* 9 beans)) 80))          ; protein
(assert (>= (+ (* 2 bread) (* 12 milk) (* 4 beans)) 60))         ; calcium
(assert (<= cost 7))
(check-sat)
(get-model)
(get-value (cost))
