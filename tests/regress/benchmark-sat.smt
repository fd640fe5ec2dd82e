(benchmark interval.of_old
  :source { Written for this test. It holds "quotes", (parentheses and \{ braces. \} }
  :status sat
  :difficulty { 0 }
  :category { check }
  :logic QF_LRA
  :extrafuns ((x Real) (y' Real :note {with an annotation}))
  :extrapreds ((p) (q))
  :assumption (and (< x y') (< y' (+ x 1)))
  :formula
    (let (?sum (+ x y'))
    (flet ($small (< ?sum (/ 1 2)))
      (and (implies p $small)
           (if_then_else q (iff p $small) (xor p $small))
           (= (ite q ?sum (~ ?sum)) (- 5 2) :annotated {so}))))
  :notes {the end}
)
; expect: sat
