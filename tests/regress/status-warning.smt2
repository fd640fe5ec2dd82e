; A status that the answer contradicts is a matter for standard error, not for the exit status.
(set-info :status unsat)
(check-sat)
; expect: sat
; expect-exit: 0
