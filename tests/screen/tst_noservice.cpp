// A host that provides the classes of the device service and no instance of any.

#include "support/LogCapture.h"

#include <Correction/ScreenManager.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

#include <optional>

using namespace Correction;
using Quorvex::Communicator::HttpDevice::HttpProxy;

// These take precedence over the adapter's.
HttpProxy *HttpProxy::getInstance()
{
    return nullptr;
}

ScreenInfo *ScreenInfo::getInstance()
{
    return nullptr;
}

HWInfo *HWInfo::getInstance()
{
    return nullptr;
}

class tst_NoService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
        ScreenManager::releaseInstance();
    }

    void initLogsEachMissingServiceOnce();
    void aRefreshFindsNoDevice();
    void anOperationTimesOut();

private:
    const QString m_line = QStringLiteral("the host provides no device service");
    std::optional<TestSupport::LogCapture> m_log;
};

void tst_NoService::initLogsEachMissingServiceOnce()
{
    ScreenManager::getInstance()->init();
    QCOMPARE(m_log->takeCritical(), QStringList({m_line, m_line})); // the discovery's, the screens'
}

void tst_NoService::aRefreshFindsNoDevice()
{
    QCOMPARE(ScreenManager::getInstance()->refreshScreen(), enNoDevice);
    QCOMPARE(m_log->takeCritical(), QStringList({m_line, QStringLiteral("hwList.isEmpty()")}));
}

void tst_NoService::anOperationTimesOut()
{
    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("A"), new SubScreenV4(QStringLiteral("A")));
    QCOMPARE(screen.lock(), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList({m_line, QStringLiteral("lock timeout. device:A"),
                                                 QStringLiteral("Failed to lock. SubScreen key: A code: 5")}));
}

QTEST_GUILESS_MAIN(tst_NoService)
#include "tst_noservice.moc"
