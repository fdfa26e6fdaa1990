#pragma once

#include <Correction/Enumerations.h>

#include <QtCore/QString>
#include <QtCore/QVector>

#include <exception>

namespace Ctl {

/// The program's exit codes. A result code of the library is its own exit code: 1 to 8, and up to 15 for a screen write,
/// which returns the bitwise OR of its devices' codes.
enum Exit : int {
    ExitSuccess = 0,
    ExitLargestResult = 15,
    ExitDifferent = 20,
    ExitIncomplete = 21,
    ExitUsage = 64,
    ExitBadData = 65,
    ExitNoInput = 66,
    ExitAmbiguous = 67,
    ExitUnknown = 68,
    ExitNoWall = 69,
    ExitInternal = 70,
    ExitNoMemory = 71,
    ExitCannotWrite = 73,
    ExitInterrupted = 130,
};

/// One exit code, explained.
struct ExitCode {
    int number;
    const char *name;    ///< The library's enumerator, or a word of this program's.
    const char *meaning; ///< A sentence.
    const char *next;    ///< What to do next: a sentence.
};

/// Every exit code in ascending order, codes that only a combination gives left out.
const QVector<ExitCode> &exitCodes();
/// The explanation of a code; null for one that is not listed.
const ExitCode *explain(int exit);
/// "enTimeout", "usage"; "enArgumentMismatch|enTimeout" for what only a combination gives; the number for an unknown code.
QString resultName(int code);

/// Ends a verb with an error: one line with the subject and the reason.
class Failure : public std::exception
{
public:
    Failure(int exit, const QString &text) : m_exit(exit), m_text(text) {}
    int exit() const { return m_exit; }
    const QString &text() const { return m_text; }
    const char *what() const noexcept override { return "a verb failed"; }

private:
    int m_exit;
    QString m_text;
};

/// Throws a Failure that begins with `what` unless `code` is 0 and since the last check no device refused a request to
/// change something, or sent a reply that lacks what was queried: some operations of the library return enSuccess all the
/// same. The failure is ExitIncomplete where other devices carried out what one refused.
void check(Correction::EnumErrorCode code, const QString &what);
/// For queries whose failure does not end a verb: `code`, but enInvalidParameter for enSuccess where since the last check a
/// device sent a reply that lacks what was queried.
Correction::EnumErrorCode queryResult(Correction::EnumErrorCode code);

} // namespace Ctl
