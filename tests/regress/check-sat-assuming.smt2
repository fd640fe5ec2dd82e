; Assumptions hold for one check; what it found can be asked until something changes.
(set-option :produce-unsat-assumptions true)
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun p () Bool)
(declare-fun q () Bool)
(assert (or p (> x 1)))
(check-sat-assuming ((not p) q (< x 2)))
; expect: sat
(get-value (p q (< 1 x 2)))
; expect: ((p false)
; expect:  (q true)
; expect:  ((< 1 x 2) true))
(get-info :assertion-stack-levels)
; expect: (:assertion-stack-levels 0)
(check-sat-assuming ((not p) q (< x
   1)))
; expect: unsat
(get-unsat-assumptions)
; expect: ((not p) (< x 1))
(check-sat)
; expect: sat
(get-unsat-assumptions)
; expect: (error "check-sat-assuming.smt2:23:1: 'get-unsat-assumptions' needs the answer unsat, but the last one was sat")
(push 1)
(assert (not p))
(check-sat-assuming ())
; expect: sat
(check-sat-assuming ((= x 1) (= x 1)))
; expect: unsat
(get-unsat-assumptions)
; expect: ((= x 1))
(pop 1)
(check-sat-assuming ((= x 1)))
; expect: sat
; expect-exit: 1
