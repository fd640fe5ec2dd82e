; Checks that end at their limit while maxima are looked at leave nothing half done.
(set-logic QF_LRA)
(declare-const x Real)
(declare-const y Real)
(declare-const q Bool)
(assert (= (- (* (/ 1 98765432109876543210) y) (+ y x)) (+ (ite (<= y 2) x 0) x)))
(assert (<= (ite q (+ x y) (ite (>= y x) y x)) 1))
(assert (= 3 (ite (>= y 1) (* (/ 1 98765432109876543210) y) x)))
(set-option :reproducible-resource-limit 2500)
(check-sat)
; expect-match: unknown|sat
(set-option :reproducible-resource-limit 2600)
(check-sat)
; expect-match: unknown|sat
(set-option :reproducible-resource-limit 2650)
(check-sat)
; expect-match: unknown|sat
(set-option :reproducible-resource-limit 2700)
(check-sat)
; expect-match: unknown|sat
(set-option :reproducible-resource-limit 2705)
(check-sat)
; expect-match: unknown|sat
(set-option :reproducible-resource-limit 2750)
(check-sat)
; expect-match: unknown|sat
(set-option :reproducible-resource-limit 2800)
(check-sat)
; expect-match: unknown|sat
(set-option :reproducible-resource-limit 2900)
(check-sat)
; expect-match: unknown|sat
(set-option :reproducible-resource-limit 0)
(check-sat)
; expect: sat
