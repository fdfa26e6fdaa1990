#pragma once

#include "Exchange.h"

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QSize>

namespace ServiceCheck {

struct Options {
    bool write = false;       ///< Also operations that change a device, as far as the old state can be read and put back.
    bool unrestored = false;  ///< With `write`: also all others. The devices' state and picture are lost.
    bool allCabinets = false; ///< Reads from every cabinet instead of the first of each device. Writes go to the first.
    QString device;           ///< Only this one; empty: all.
    int search = 5000;        ///< How long devices may take to be found, in milliseconds.
    int timeout = 30000;      ///< How long a promise may take to settle, in milliseconds.
};

/// A cabinet that a refresh of the library finds.
struct Cabinet {
    QString id;
    QSize size;
};

struct Device {
    QString key;
    bool isReached = true; ///< False: a refresh leaves it out.
    QVector<Cabinet> cabinets;
    bool hasMultilayer = true;
    bool hasCheckerboard = false;
};

struct Probe;

/// Calls the operations of the table on the service that this program is linked with, in the order in which a host does.
class Check
{
public:
    Check(const Options &options, Report &report) : m_options(options), m_report(report) {}

    /// Adds at least one line for each operation to the report. Returns the reason why there was no device to check; null
    /// when there was one.
    QString run();

private:
    // Discovery.cpp
    QString findDevices(QVector<Device> &devices);
    void describe(Device &device);
    // Reads.cpp
    void read(Device &device);
    /// One of the operations that read, as a host calls it.
    Exchange readState(Operation::Id operation, const Device &device, const Cabinet &cabinet) const;
    // Writes.cpp
    void write(const Device &device);
    bool tryChanges(const Device &device, const Probe &probe);
    void writeUnrestored(const Device &device);

    Exchange ask(Operation::Id operation, const QString &device, const QString &target = {},
                 const QVariant &request = {}) const
    {
        return Exchange(operation, m_options.timeout, device, target, request);
    }
    void skip(Operation::Id operation, const QString &device, const QString &reason);
    void skipTheRest();

    const Options m_options;
    Report &m_report;
    // Replies of the devices so far, collected as a refresh does.
    QSet<QString> m_listed;           ///< Cabinet and output id.
    QSet<QString> m_described;        ///< Ids of the cabinets that have flags.
    QHash<QString, QString> m_owners; ///< Cabinet id -> key of the device that listed it first.
};

/// Whether an operation is called with Options::unrestored only.
bool isUnrestored(Operation::Id operation);

} // namespace ServiceCheck
