; Some options are fixed once the session has begun.
(set-option :produce-unsat-cores true)
(set-logic QF_LRA)
(set-option :produce-proofs true)
(declare-const x Real)
(set-option :produce-unsat-cores false)
; expect: (error "error-options.smt2:6:1: the option ':produce-unsat-cores' can only be set before anything is declared or asserted")
(get-option :produce-unsat-cores)
; expect: true
(set-option :verbosity 0)
(reset)
(set-option :produce-unsat-cores false)
(get-option :produce-unsat-cores)
; expect: false
; expect-exit: 1
