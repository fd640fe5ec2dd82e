; Odd spellings: quoted symbols, comments, strings, numbers.
(set-logic |QF_LRA|)
(set-info :source |lines and ; no comment
and ( no parenthesis|)
(set-info :notes "a ""quoted"" (word")
(declare-fun |x| () Real)(declare-fun ~!@$%^&*_-+=<>.?/9 () Real)
(declare-fun |let| () Real) ; a reserved word in bars is a name like others
(assert(=|x| 007)) (assert (= ~!@$%^&*_-+=<>.?/9 x))
(assert (= |let| (|+| x 0.5000)));)
(check-sat)
; expect: sat
(get-value(x|x||let|   ~!@$%^&*_-+=<>.?/9))
; expect: ((x 7.0)
; expect:  (|x| 7.0)
; expect:  (|let| (/ 15.0 2.0))
; expect:  (~!@$%^&*_-+=<>.?/9 7.0))
(echo "a ""quoted"" word")
; expect: "a ""quoted"" word"
