// The wall's own base64 against Qt's: the same strings, the same bytes, and the same refusals.

#include "device/Base64.h"

#include <QtTest/QtTest>

#include <random>

namespace Base64 = Simulator::Base64;

class tst_Base64 : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void encodesAndDecodes();
    void refusesWhatQtRefuses();

private:
    QByteArray bytes(int size)
    {
        QByteArray made(size, Qt::Uninitialized);
        for (char &byte : made)
            byte = char(m_random());
        return made;
    }
    std::mt19937 m_random{1};
};

void tst_Base64::encodesAndDecodes()
{
    for (int size = 0; size < 200; ++size) {
        const QByteArray made = bytes(size);
        const QString text = Base64::encode(made);
        QCOMPARE(text, QString::fromLatin1(made.toBase64()));
        QByteArray decoded("before");
        QVERIFY(Base64::decode(text, decoded));
        QCOMPARE(decoded, made);
    }
}

void tst_Base64::refusesWhatQtRefuses()
{
    // Every string of these is tried with each of its characters replaced, cut and doubled.
    const QString odd = QStringLiteral("=-_ \n%@[`{/+\u00c1\u0141\uff21") + QChar(0) + QChar(0x7f) + QChar(0x141);
    int accepted = 0;
    int refused = 0;
    for (int size = 0; size < 20; ++size) {
        const QString whole = QString::fromLatin1(bytes(size).toBase64());
        QStringList texts{whole};
        for (int place = 0; place < whole.size(); ++place) {
            texts += whole.left(place);
            texts += whole.left(place) + whole.mid(place + 1);
            for (const QChar character : odd) {
                texts += whole.left(place) + character + whole.mid(place + 1);
                texts += whole.left(place) + character + whole.mid(place);
            }
        }
        for (const QString &text : qAsConst(texts)) {
            const auto expected = QByteArray::fromBase64Encoding(
                text.toLatin1(), QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
            QByteArray decoded("before");
            QCOMPARE(Base64::decode(text, decoded), bool(expected));
            QCOMPARE(decoded, expected ? *expected : QByteArray("before"));
            ++(expected ? accepted : refused);
        }
    }
    QVERIFY(accepted > 500);
    QVERIFY(refused > 5000);
}

QTEST_GUILESS_MAIN(tst_Base64)
#include "tst_base64.moc"
