// Promises that stay pending.

#include "PartTests.h"

#include <stdexcept>
#include <thread>

using namespace PartTests;

class tst_Uploads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUpWall(); }

    void cleanupTestCase() { wall().reset(); }

    void settlesPromisesByScript()
    {
        const QString operation = QStringLiteral("Correctionop::uploadCoefficientAsync");
        const List request{manyElement(qlonglong(1), QRect(0, 0, 4, 2), chromaBytes(8, 1))};
        wall().scripts().on(operation).resolveWith(true).times(1);
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, request)), QVariant(true));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 0));
        wall().scripts().on(operation).resolveWith(false).times(1);
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, request)), QVariant(false));
        wall().scripts().on(operation).answerFalse().times(1);
        QCOMPARE(settledValue(correction().uploadCoefficientAsync(a, request)), QVariant(false));

        wall().scripts().on(operation).reject().times(1);
        QString what;
        const Promise rejected = correction().uploadCoefficientAsync(a, request);
        rejected
            .fail([&](const std::runtime_error &error) {
                what = QString::fromLatin1(error.what());
                return false;
            })
            .wait();
        QCOMPARE(what, QStringLiteral("the upload was rejected"));
        QCOMPARE(lastNote(), QStringLiteral("rejected"));

        wall().scripts().on(operation).rejectWith(std::make_exception_ptr(42)).times(1);
        int code = 0;
        correction()
            .uploadCoefficientAsync(a, request)
            .fail([&](int error) {
                code = error;
                return false;
            })
            .wait();
        QCOMPARE(code, 42);
    }

    void settleLaterIsForPromisesOnly()
    {
        Map reply;
        wall().scripts().on(QStringLiteral("HWInfo::getHWInfo")).settleLater();
        QVERIFY(!HWInfo::getInstance()->getHWInfo(a, reply, true));
        QCOMPARE(lastNote(), QStringLiteral("the script needs an operation with a promise"));
    }

    void keepsUploadsPendingUntilSettled()
    {
        wall().scripts().on(QString()).settleLater();
        const auto request = [](qlonglong cid, quint16 value) {
            return List{manyElement(cid, QRect(0, 0, 4, 2), chromaBytes(8, value))};
        };
        const Promise first = correction().uploadCoefficientAsync(a, request(1, 1));
        const Promise other = correction().uploadCoefficientAsync(b, request(3, 3));
        const Promise second = correction().uploadLowGrayCoefficientAsync(a, request(2, 2));
        QCOMPARE(wall().uploads().pending(), 3);
        QCOMPARE(wall().uploads().pendingDevices(), (QStringList{a, b, a}));
        QVERIFY(first.isPending() && other.isPending() && second.isPending());
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 0));

        QVERIFY(wall().uploads().settle(a, true));
        QVERIFY(first.isFulfilled() && other.isPending() && second.isPending());
        QCOMPARE(settledValue(first), QVariant(true));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 1));
        QCOMPARE(wall().journal().calls()[0].result, true);
        QVERIFY(wall().uploads().settle(a, false));
        QCOMPARE(settledValue(second), QVariant(false));
        QCOMPARE(wall().state().lowGray(a, two), chromaValues(8, 0));
        QVERIFY(wall().uploads().reject(b));
        QVERIFY(other.isRejected());
        QCOMPARE(wall().journal().calls()[1].note, QStringLiteral("rejected"));
        QCOMPARE(wall().uploads().pending(), 0);
        QVERIFY(!wall().uploads().settle(a, true));
        QVERIFY(!wall().uploads().reject(b));
    }

    void notesAPendingUploadThatCannotBeTaken()
    {
        wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
        const Promise promise =
            correction().uploadCoefficientAsync(a, {manyElement(qlonglong(1), QRect(0, 0, 4, 2), chromaBytes(8, 1))});
        wall().removeDevice(a);
        QVERIFY(wall().uploads().settle(a, true));
        QCOMPARE(settledValue(promise), QVariant(true));
        QCOMPARE(lastNote(), QStringLiteral("unknown device"));
    }

    void aResetRejectsPendingUploads()
    {
        wall().scripts().on(QString()).settleLater();
        const Promise promise = correction().uploadCoefficientAsync(a, {});
        wall().reset();
        QVERIFY(promise.isRejected());
        QCOMPARE(wall().uploads().pending(), 0);
    }

    void settlesFromAnotherThread()
    {
        wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
        const Promise promise =
            correction().uploadCoefficientAsync(a, {manyElement(qlonglong(1), QRect(0, 0, 4, 2), chromaBytes(8, 6))});
        std::thread settler([] { wall().uploads().settle(a, true); });
        promise.wait();
        settler.join();
        QCOMPARE(settledValue(promise), QVariant(true));
        QCOMPARE(wall().state().chroma(a, one), chromaValues(8, 6));
    }

    void waitsForUploadsThatAnotherThreadStarts()
    {
        QVERIFY(!wall().uploads().waitForPending(1, 0));
        wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
        bool allThere = false;
        std::thread settler([&] {
            allThere = wall().uploads().waitForPending(2);
            wall().uploads().settle(b, false);
            wall().uploads().settle(a, true);
        });
        const Promise left = correction().uploadCoefficientAsync(a, {});
        const Promise right = correction().uploadCoefficientAsync(b, {});
        left.wait();
        right.wait();
        settler.join();
        QVERIFY(allThere);
        QCOMPARE(settledValue(left), QVariant(true));
        QCOMPARE(settledValue(right), QVariant(false));
    }
};

QTEST_GUILESS_MAIN(tst_Uploads)
#include "tst_uploads.moc"
