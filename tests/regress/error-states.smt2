; Models and cores before the answer that they need.
(set-option :produce-unsat-cores true)
(declare-fun x () Real)
(get-model)
; expect: (error "error-states.smt2:4:1: 'get-model' needs the answer sat, but nothing was checked since the assertions changed")
(check-sat)
; expect: sat
(get-unsat-core)
; expect: (error "error-states.smt2:8:1: 'get-unsat-core' needs the answer unsat, but the last one was sat")
(assert (< x x))
(get-value (x))
; expect: (error "error-states.smt2:11:1: 'get-value' needs the answer sat, but nothing was checked since the assertions changed")
(check-sat)
; expect: unsat
(get-value (x))
; expect: (error "error-states.smt2:15:1: 'get-value' needs the answer sat, but the last one was unsat")
; expect-exit: 1
