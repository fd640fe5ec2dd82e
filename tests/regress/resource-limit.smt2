; A limit of work that is the same everywhere. The session goes on after it.
(set-option :reproducible-resource-limit 200)
(declare-const x Real)
(declare-const y Real)
(declare-const p Bool)
(assert (or (and p (< (+ x y) 1)) (and (not p) (> (- x y) 2) (< y 7))))
(check-sat)
; expect: unknown
(get-info :reason-unknown)
; expect: (:reason-unknown resourceout)
(get-option :reproducible-resource-limit)
; expect: 200
(set-option :reproducible-resource-limit 1000000)
(check-sat)
; expect: sat
(set-option :reproducible-resource-limit 0)
(check-sat-assuming (p (> x 0) (> y 1)))
; expect: unsat
