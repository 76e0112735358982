#pragma once
// Which regional edition of the suite is running. Both answers are false in
// the standard edition.
#include "zcpf_global.h"

class ZCPF_EXPORT CpfMain
{
public:
    static CpfMain* GetInstance();
    bool IsProdAreaRA() const;
    bool IsProdAreaRB() const;

private:
    CpfMain() = default;
};
