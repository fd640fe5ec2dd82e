// What happens when there is no memory for a big number.
#pragma once

namespace tarku {

// By default GMP ends the program. After this call it throws std::bad_alloc, as everything else does, and the engine
// can answer `unknown`. It holds for the whole process, so it is the program that decides: call it once, before the
// first number is made. Programs that call mp_set_memory_functions themselves need none of this.
void throw_when_numbers_run_out_of_memory();

}  // namespace tarku
