#include "CpfMain.h"
#include "zCpfTesting.h"

namespace {
struct Edition { bool ra = false; bool rb = false; };
Edition& edition()
{
    static Edition e;
    return e;
}
} // namespace

CpfMain* CpfMain::GetInstance()
{
    static CpfMain instance;
    return &instance;
}

bool CpfMain::IsProdAreaRA() const
{
    return edition().ra;
}

bool CpfMain::IsProdAreaRB() const
{
    return edition().rb;
}

void zCpfTesting::setProdArea(bool ra, bool rb)
{
    edition().ra = ra;
    edition().rb = rb;
}

void zCpfTesting::reset()
{
    edition() = Edition();
}
