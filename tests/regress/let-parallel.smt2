; All variables of one let get their values at once.
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun y () Real)
(assert (let ((x y) (y x)) (and (= x 1) (= y 2))))
(check-sat)
(get-value (x y))
; expect: sat
; expect: ((x 2.0)
; expect:  (y 1.0))
