; args: --timeout 50
; stdin:
(set-logic QF_LRA)
(declare-fun x () Real)
(assert (> x
  y))
; expect: (error "<stdin>:6:3: unknown symbol 'y'")
(check-sat)
; expect: sat
; expect-exit: 1
