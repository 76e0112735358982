#pragma once
// Test seam of the edition stand-in.
#include "zcpf_global.h"

namespace zCpfTesting {

// The answers of CpfMain::IsProdAreaRA and IsProdAreaRB.
ZCPF_EXPORT void setProdArea(bool ra, bool rb);

// The standard edition: both false.
ZCPF_EXPORT void reset();

} // namespace zCpfTesting
