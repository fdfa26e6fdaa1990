#include "Exchange.h"

#include <adapter/ReplyCheck.h>
#include <values/Nesting.h>

#include <QtCore/QRegularExpression>

namespace ServiceCheck {

namespace {

bool isBase64(const QString &text)
{
    return bool(
        QByteArray::fromBase64Encoding(text.toUtf8(), QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors));
}

/// A row's sentence as part of a line.
QString clause(const char *sentence)
{
    QString text = QString::fromUtf8(sentence);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

} // namespace

Exchange::Exchange(Operation::Id operation, int timeout, const QString &device, const QString &target,
                   const QVariant &request)
    : m_operation(&Adapter::operations()[operation])
{
    m_call.deviceKey = device;
    m_call.target = target;
    m_call.request = request;
    if (m_operation->extra == Adapter::Extra::Refresh)
        m_call.extra = true;
    else if (m_operation->extra == Adapter::Extra::Allowance)
        m_call.extra = 10000;
    m_ending = callService(operation, m_call, timeout);
    const bool isTooDeep = Nesting::limit(m_call.reply);

    const QString consequence = clause(m_operation->afterFailure);
    switch (m_ending) {
    case Ending::NullInstance:
        bad(Finding::NullInstance, QStringLiteral("getInstance() returned null"), {}, consequence);
        break;
    case Ending::Threw:
        bad(Finding::Exception, QStringLiteral("threw \"%1\"").arg(m_call.note), {}, consequence);
        break;
    case Ending::Rejected:
        bad(Finding::PromiseRejected, QStringLiteral("the promise was rejected"), {}, consequence);
        break;
    case Ending::Pending:
        bad(Finding::PromiseNeverSettled, QStringLiteral("the promise did not settle within %1 ms").arg(timeout));
        break;
    case Ending::Returned:
        if (m_call.result)
            checkReply(isTooDeep);
        else if (m_operation->extra != Adapter::Extra::Headers) // there the headers decide
            bad(Finding::FalseAnswer, QStringLiteral("returned false"), {}, consequence);
        break;
    }
}

void Exchange::checkReply(bool isTooDeep)
{
    if (isTooDeep)
        bad(Finding::TooDeep, QStringLiteral("the reply is nested deeper than %1 levels").arg(Nesting::deepest));
    if (m_operation->reply != Adapter::Form::Map && m_operation->reply != Adapter::Form::List)
        return;
    Adapter::walkReply(*m_operation, m_call.reply, [this](const Adapter::ReplyValue &value) {
        const auto badPlace = [&](Finding finding, const char *what) {
            static const QRegularExpression index(QStringLiteral("\\[\\d+\\]"));
            const QString place = value.place();
            bad(finding, QStringLiteral("reply%1 is %2").arg(place, QLatin1String(what)), QString(place).remove(index));
        };
        if (!value.value)
            badPlace(Finding::MissingKey, "missing");
        else if (!value.converts())
            badPlace(Finding::WrongType, qUtf8Printable(value.mismatch()));
        else if (value.field.type == Adapter::Type::Base64 && !isBase64(value.value->toString()))
            badPlace(Finding::NotBase64, "not base64");
        return true;
    });
}

void Exchange::bad(Finding finding, const QString &text, const QString &group, const QString &consequence)
{
    const FindingRow &row = findingRow(finding);
    const QString key = QLatin1String(row.name) + group;
    const int known = m_groups.indexOf(key);
    if (known >= 0) {
        ++m_bad[known].count;
        return;
    }
    Line found = line();
    found.status = Line::Bad;
    found.finding = QLatin1String(row.name);
    found.text = text;
    found.consequence = consequence.isEmpty() ? QString::fromUtf8(row.consequence) : consequence;
    m_groups += key;
    m_bad += found;
}

Line Exchange::line() const
{
    Line line;
    line.operation = m_operation->name;
    line.device = m_call.deviceKey;
    if (m_operation->address == Adapter::Address::Cabinet)
        line.request = QStringLiteral("cabinet %1 ").arg(m_call.target);
    else if (m_operation->address == Adapter::Address::Screen)
        line.request = QStringLiteral("screen %1 ").arg(m_call.target);
    if (m_call.request.isValid())
        line.request += shortText(m_call.request);
    line.request = line.request.trimmed();
    if (m_ending == Ending::Returned && m_call.reply.isValid())
        line.reply = shortText(m_call.reply);
    return line;
}

void Exchange::finish(Report &report, const QString &remark) const
{
    finishBad(report);
    if (!isGood())
        return;
    Line good = line();
    good.text = m_call.result ? QStringLiteral("true") : QStringLiteral("false");
    if (!good.reply.isEmpty() && !m_operation->replyFields.isEmpty())
        good.text += QLatin1Char(' ') + shortText(m_call.reply, 60);
    if (!remark.isEmpty())
        good.text += QLatin1String(", ") + remark;
    report.add(good);
}

void Exchange::finishBad(Report &report) const
{
    for (const Line &line : m_bad)
        report.add(line);
}

} // namespace ServiceCheck
