; Terms that depend on conditions, spelled differently each time.
(set-logic QF_LRA)
(declare-const x Real)
(declare-const y Real)
(declare-const p Bool)
(define-fun more ((t Real)) Real (- t (- 1)))
(assert (or p (<= (* 2 (ite p x (ite (not (> x y)) (+ 1 y) (more x)))) (+ y y))))
(assert (=> p (< (- (ite (> x y) (+ x 1) (- (+ y 2) 1)) (ite (< x 0) x x)) 1)))
(check-sat)
