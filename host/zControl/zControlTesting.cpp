#include "zControlTesting.h"
#include "zControl_p.h"

zControlPrivate::State& zControlPrivate::state()
{
    static State s;
    return s;
}

void zControlTesting::setMessageBoxAnswers(const QList<int>& answers)
{
    zControlPrivate::state().answers = answers;
    zControlPrivate::state().messageBoxScripted = true;
}

void zControlTesting::setMessageBoxScripted(bool scripted)
{
    zControlPrivate::state().messageBoxScripted = scripted;
}

QList<zControlTesting::MessageBoxCall> zControlTesting::messageBoxCalls()
{
    return zControlPrivate::state().calls;
}

void zControlTesting::clearMessageBoxCalls()
{
    zControlPrivate::state().calls.clear();
}

void zControlTesting::setProgressScripted(bool scripted)
{
    zControlPrivate::state().progressScripted = scripted;
}

QList<int> zControlTesting::progressValues()
{
    return zControlPrivate::state().progressValues;
}

QStringList zControlTesting::progressTitles()
{
    return zControlPrivate::state().progressTitles;
}

void zControlTesting::reset()
{
    zControlPrivate::state() = zControlPrivate::State();
}
