; A core names assertions that are unsatisfiable together.
(set-option :produce-unsat-cores true)
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(declare-fun z () Real)
(assert (! (<= x y) :named |x below y|))
(assert (! (<= y z) :named y-below-z))
(assert (! (>= z 0) :named aside))
(assert (! (> x z) :named x-above-z))
(check-sat)
; expect: unsat
(get-unsat-core)
; expect: (|x below y| y-below-z x-above-z)
