; A network in a level that goes, parts of it in several levels, and bounds on what goes in that come later.
(set-logic QF_LRA)
(set-option :produce-unsat-cores true)
(declare-const x Real)
(declare-const y Real)
(declare-const z Real)
(declare-const p Bool)
(push 1)
(assert (! (<= 0 x 1) :named input))
(assert (! (= y (ite (>= (- x 0.5) 0) (- x 0.5) 0)) :named unit))
(assert (! (> y 0.5) :named property))
(check-sat)
(get-unsat-core)
; expect: unsat
; expect: (input unit property)
(pop 1)
(assert (= y (ite (>= (- x 0.5) 0) (- x 0.5) 0)))
(assert (= z (ite (<= y 1) 1 y)))
(push 1)
(assert (! (>= z 2) :named large))
(check-sat)
; expect: sat
(push 1)
(assert (! (<= (- 3) x 2) :named bounds))
(check-sat)
(get-unsat-core)
; expect: unsat
; expect: (large bounds)
(pop 2)
(assert (<= (- 3) x 4))
(assert (=> p (>= z 3)))
(check-sat-assuming (p (<= y 3)))
; expect: sat
(check-sat-assuming (p (< y 3)))
; expect: unsat
(assert (= x (ite p z y)))
(check-sat)
; expect: sat
(check-sat-assuming (p))
; expect: unsat
(check-sat-assuming ((> x 0)))
; expect: unsat
