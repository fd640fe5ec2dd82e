; An option that is not known is passed over, but not its missing parenthesis.
(set-option :frobnicate (a (b) "c") #b1)
(set-option :frobnicate)
; expect: unsupported
; expect: unsupported
(set-option :frobnicate (a |b|
; expect: (error "error-unfinished-option.smt2:10:1: expected ')', found the end of the input")
; expect-exit: 1
; end
