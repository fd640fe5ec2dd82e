; The certificate of an unsatisfiable script, with an equality that was solved away.
(set-logic QF_LRA)
(set-option :produce-proofs true)
(declare-fun x () Real)
(declare-fun y () Real)
(assert (= (+ x (* 2 y)) 4))
(assert (and (>= x 2) (> y 1)))
(check-sat)
; expect: unsat
(get-proof)
; expect: "tarku-certificate 1
; expect: check 1
; expect: real 1 x
; expect: real 2 y
; expect: atom 1 1*1 2*2 = 4
; expect: atom 2 1*1 >= 2
; expect: atom 3 1*2 > 1
; expect: farkas 1 -1 -2 -3 0 1 1 2
; expect: input 2 0 1 0
; expect: input 3 1 2 0
; expect: input 4 1 3 0
; expect: rup 5 0 2 3 4 1
; expect: qed 5
; expect: "
