#include "Npz.h"

#include "Files.h"
#include "Npy.h"
#include "terminal/ExitCodes.h"

#include <QtCore/QStringList>

#include <limits>
#include <memory>
#include <zip.h>

namespace Ctl {

namespace {

const QLatin1String extension(".npy");
const char *const arrayName = "coefficients.npy";

struct CloseZip {
    void operator()(zip_t *archive) const { zip_discard(archive); }
    void operator()(zip_file_t *file) const { zip_fclose(file); }
    void operator()(zip_source_t *source) const { zip_source_free(source); }
};
template <typename Object>
using Zip = std::unique_ptr<Object, CloseZip>;

class ZipError
{
public:
    ZipError() { zip_error_init(&m_error); }
    ~ZipError() { zip_error_fini(&m_error); }
    ZipError(const ZipError &) = delete;
    ZipError &operator=(const ZipError &) = delete;

    zip_error_t *get() { return &m_error; }
    QString text() { return QString::fromUtf8(zip_error_strerror(&m_error)); }

private:
    zip_error_t m_error{};
};

/// The index of the array to read. Negative, with the reason, when that is not clear.
qint64 arrayOf(zip_t *archive, QString &reason)
{
    QVector<qint64> arrays;
    QVector<qint64> named;
    QStringList names;
    const qint64 count = zip_get_num_entries(archive, 0);
    for (qint64 index = 0; index < count; ++index) {
        const QString name = QString::fromUtf8(zip_get_name(archive, zip_uint64_t(index), ZIP_FL_ENC_GUESS));
        if (!name.endsWith(extension))
            continue;
        arrays.append(index);
        names.append(name.chopped(extension.size()));
        if (name == QLatin1String(arrayName))
            named.append(index);
    }
    const QVector<qint64> &found = named.isEmpty() ? arrays : named;
    if (found.size() == 1)
        return found.first();
    constexpr int shown = 8;
    if (arrays.isEmpty())
        reason = QStringLiteral("holds no array");
    else
        reason = QStringLiteral("holds several arrays (%1%2); the one to write must be called coefficients, once: "
                                "np.savez(path, coefficients=a)")
                     .arg(QStringList(names.mid(0, shown)).join(QStringLiteral(", ")),
                          QLatin1String(names.size() > shown ? ", ..." : ""));
    return -1;
}

} // namespace

bool parseNpz(const QByteArray &file, Grid &grid, QString &reason)
{
    const auto refuse = [&reason](const QString &why) {
        reason = why;
        return false;
    };
    if (file.isEmpty()) // an archive without entries to libzip
        return refuse(QStringLiteral("not a ZIP archive, or damaged: empty"));
    ZipError error;
    zip_source_t *const source = zip_source_buffer_create(file.constData(), zip_uint64_t(file.size()), 0, error.get());
    const Zip<zip_t> archive(source ? zip_open_from_source(source, ZIP_RDONLY, error.get()) : nullptr);
    if (!archive) {
        zip_source_free(source);
        return refuse(QStringLiteral("not a ZIP archive, or damaged: ") + error.text());
    }
    const qint64 index = arrayOf(archive.get(), reason);
    if (index < 0)
        return false;
    const QString name = QString::fromUtf8(zip_get_name(archive.get(), zip_uint64_t(index), ZIP_FL_ENC_GUESS));
    const Zip<zip_file_t> entry(zip_fopen_index(archive.get(), zip_uint64_t(index), 0));
    if (!entry)
        return refuse(QStringLiteral("%1: %2").arg(name, QString::fromUtf8(zip_strerror(archive.get()))));
    // Not the size that the archive claims: it may be wrong.
    constexpr int step = 1 << 20;
    QByteArray bytes;
    for (;;) {
        const int before = bytes.size();
        if (before > std::numeric_limits<int>::max() - 2 * step)
            return refuse(name + QStringLiteral(": too large"));
        bytes.resize(before + step);
        const zip_int64_t taken = zip_fread(entry.get(), bytes.data() + before, step);
        if (taken < 0)
            return refuse(QStringLiteral("%1: %2").arg(name, QString::fromUtf8(zip_file_strerror(entry.get()))));
        bytes.resize(before + int(taken));
        if (taken == 0)
            break;
    }
    return parseNpy(bytes, grid, reason) || refuse(QStringLiteral("%1: %2").arg(name, reason));
}

QByteArray toNpz(const Grid &grid)
{
    const QByteArray array = npyHeader(grid.size, grid.length, grid.bytes) + toBytes(grid);
    ZipError error;
    const auto check = [&error](bool isGood) {
        if (!isGood)
            throw Failure(ExitCannotWrite, QStringLiteral("making a ZIP archive: ") + error.text());
    };
    const Zip<zip_source_t> target(zip_source_buffer_create(nullptr, 0, 0, error.get()));
    check(bool(target));
    Zip<zip_t> archive(zip_open_from_source(target.get(), ZIP_TRUNCATE, error.get()));
    check(bool(archive));
    zip_source_keep(target.get()); // the archive owns one reference
    const auto checkArchive = [&](bool isGood) {
        if (!isGood)
            throw Failure(ExitCannotWrite,
                          QStringLiteral("making a ZIP archive: ") + QString::fromUtf8(zip_strerror(archive.get())));
    };
    zip_source_t *const entry = zip_source_buffer(archive.get(), array.constData(), zip_uint64_t(array.size()), 0);
    checkArchive(entry != nullptr);
    const zip_int64_t index = zip_file_add(archive.get(), arrayName, entry, ZIP_FL_ENC_UTF_8);
    if (index < 0)
        zip_source_free(entry);
    checkArchive(index >= 0);
    constexpr zip_uint16_t firstDay = 0x21; // 1980-01-01, as NumPy writes
    checkArchive(zip_file_set_dostime(archive.get(), zip_uint64_t(index), 0, firstDay, 0) == 0);
    checkArchive(zip_close(archive.get()) == 0);
    static_cast<void>(archive.release()); // closed

    zip_stat_t stat;
    check(zip_source_stat(target.get(), &stat) == 0 && stat.size <= zip_uint64_t(std::numeric_limits<int>::max()));
    QByteArray bytes(int(stat.size), Qt::Uninitialized);
    check(zip_source_open(target.get()) == 0);
    const bool isWhole = zip_source_read(target.get(), bytes.data(), stat.size) == zip_int64_t(stat.size);
    zip_source_close(target.get());
    check(isWhole);
    return bytes;
}

} // namespace Ctl
