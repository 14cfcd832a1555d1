// The process-wide processor switch. Operators that own a processor-specific
// branch ask mmx_on(); the branch itself computes nothing and ends the
// operator with its success result.
#pragma once

namespace kel {

// The use-MMX flag, initialised on first use from the processor's answer.
bool mmx_on();

// Result cells that the processor-specific branches of kel_sum and
// kel_variance return. Nothing writes them, so they stay 0.
unsigned last_fast_sum();
double last_fast_variance();

}  // namespace kel
