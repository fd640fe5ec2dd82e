; Only the logics of linear real arithmetic without quantifiers.
(set-logic QF_UFLIA)
; expect: (error "error-logic.smt2:2:12: unsupported logic 'QF_UFLIA'")
(set-logic QF_LRA)
(set-logic QF_LRA)
; expect: (error "error-logic.smt2:5:12: the logic is set already")
(assert (forall ((x Real)) (> x 0)))
; expect: (error "error-logic.smt2:7:10: quantifiers are not part of this logic")
(assert (= #b01 #x1F))
; expect: (error "error-logic.smt2:9:12: literals of this kind have no sort in this logic")
(assert (= (_ bv3 4) (_ bv3 4)))
; expect: (error "error-logic.smt2:11:13: indexed names are not part of this logic")
; expect-exit: 1
