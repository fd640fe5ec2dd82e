; With the option, declarations outlive their level.
(set-option :global-declarations true)
(set-logic QF_LRA)
(push 1)
(declare-fun x () Real)
(define-fun twice ((a Real)) Real (* 2 a))
(assert (> x 0))
(pop 1)
(assert (= (twice x) (- 1)))
(check-sat)
(get-model)
; expect: sat
; expect: (
; expect:   (define-fun x () Real (- (/ 1.0 2.0)))
; expect: )
