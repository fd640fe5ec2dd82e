(benchmark cycle.of_old
  :status unsat
  :logic QF_RDL
  :extrafuns ((x Real) (y Real) (z Real))
  :assumption (<= (- x y) 2)
  :assumption (<= (- y z) (~ 1))
  :formula (and (<= (- z x) (~ 2)) (not (= x y)))
)
; expect: unsat
