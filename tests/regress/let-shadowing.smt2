; Inner variables hide outer ones, and only inside.
(set-logic QF_LRA)
(declare-fun x () Real)
(assert (= x 10))
(check-sat)
; expect: sat
(get-value ((let ((x (+ x 1))) (let ((x (* 2 x))) (+ x 1)))))
; expect: (((let ((x (+ x 1))) (let ((x (* 2 x))) (+ x 1))) 23.0))
(get-value ((+ (let ((x 1)) x) x)))
; expect: (((+ (let ((x 1)) x) x) 11.0))
(get-value ((let ((x (let ((x 5)) (+ x 1)))) x)))
; expect: (((let ((x (let ((x 5)) (+ x 1)))) x) 6.0))
