// The program's texts name a function of its verbs, which the targets that read files do not have.

#include <verbs/Verbs.h>

QStringList Ctl::Parameter::choiceList() const
{
    return {};
}
