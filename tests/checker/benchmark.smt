(benchmark cycle.of_old
  :source {Loops and branches (before scripts \} came to be)}
  :status unsat
  :logic QF_RDL
  :extrafuns ((x Real) (y Real) (z' Real))
  :extrapreds ((up))
  :assumption (<= (- x y) 2)
  :assumption (implies up (<= (- y z') (~ 1)) :weight {1})
  :formula (flet ($far (<= (- z' x) (~ 2))) (and $far up))
)
