; The truth values of named formulas.
(set-option :produce-assignments true)
(set-logic QF_LRA)
(declare-fun x () Real)
(declare-fun p () Bool)
(assert (! (or (! (< x 0) :named low) (! p :named |the flag|)) :named either))
(assert (> (! (+ x 1) :named sum) 3))
(check-sat)
; expect: sat
(get-assignment)
; expect: ((low false) (|the flag| true) (either true))
