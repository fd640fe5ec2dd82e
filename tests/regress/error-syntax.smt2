; Commands that are malformed cost themselves only.
(frobnicate (now))
; expect: (error "error-syntax.smt2:2:2: unknown command 'frobnicate'")
(check-sat please)
; expect: (error "error-syntax.smt2:4:12: expected ')' after 'check-sat', found 'please'")
(assert true))
; expect: (error "error-syntax.smt2:6:14: expected a command, found ')'")
stray words here
; expect: (error "error-syntax.smt2:8:1: expected a command, found 'stray'")
(assert (let ((x)) x))
; expect: (error "error-syntax.smt2:10:17: expected a term, found ')'")
(assert [true])
; expect: (error "error-syntax.smt2:12:9: illegal character '['")
(assert (> 1. 0))
; expect: (error "error-syntax.smt2:14:12: malformed number '1.'")
(declare-fun |a\b| () Real)
; expect: (error "error-syntax.smt2:16:14: '\' is not allowed in a quoted symbol")
(set-option print-success true)
; expect: (error "error-syntax.smt2:18:13: expected the keyword of an option, found 'print-success'")
(echo "still ""here""")
; expect: "still ""here"""
(check-sat)
; expect: sat
; expect-exit: 1
