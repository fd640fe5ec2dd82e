; Cores follow the levels.
(set-option :produce-unsat-cores true)
(set-logic QF_LRA)
(declare-fun x () Real)
(assert (! (>= x 0) :named base))
(push 1)
(assert (! (< x 0) :named up))
(check-sat)
(get-unsat-core)
; expect: unsat
; expect: (base up)
(pop 1)
(check-sat)
; expect: sat
(assert (! (<= x (- 1)) :named up))
(check-sat)
(get-unsat-core)
; expect: unsat
; expect: (base up)
