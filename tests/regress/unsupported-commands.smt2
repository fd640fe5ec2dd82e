; Commands of the standard that are not there yet.
(declare-fun p () Bool)
(check-sat-assuming (p (not p)))
; expect: unsupported
(get-assertions)
; expect: unsupported
(declare-sort S 0)
; expect: unsupported
(define-fun-rec f ((x Real)) Real (f x))
; expect: unsupported
(check-sat)
; expect: sat
