; Literals of Boolean names take part in cores.
(set-option :produce-unsat-cores true)
(declare-fun p () Bool)
(declare-fun q () Bool)
(assert (! (and q p) :named yes))
(assert (! q :named also))
(assert (! (not p) :named no))
(check-sat)
(get-unsat-core)
; expect: unsat
; expect: (yes no)
