; Options can be set and asked for; unknown ones are not supported.
(set-option :produce-unsat-cores true)
(get-option :produce-unsat-cores)
; expect: true
(set-option :verbosity 0)
(get-option :verbosity)
; expect: 0
(set-option :random-seed 17)
(get-option :random-seed)
; expect: 17
(get-option :regular-output-channel)
; expect: "stdout"
(set-option :incremental true)
; expect: unsupported
(set-option :interpolation (all (of "them")))
; expect: unsupported
(get-option :incremental)
; expect: unsupported
(get-info :no-such-thing)
; expect: unsupported
