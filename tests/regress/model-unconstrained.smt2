; Names that no assertion mentions have values, too.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun p () Bool)
(check-sat)
(get-model)
; expect: sat
; expect: (
; expect:   (define-fun x () Real 0.0)
; expect:   (define-fun p () Bool false)
; expect: )
