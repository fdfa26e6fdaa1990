#include "Cases.h"

#include "CountingService.h"
#include "Reference.h"

#include <Correction/Correction.h>
#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/ScreenInfo.h>

#include <QtCore/QCoreApplication>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace Bench {
namespace {

using Correction::Coefficient;
using Correction::CoefficientPtr;
using CountingService::Wall;
using Reference::Values;

constexpr QSize cabinetSize(128, 128);
constexpr QSize size4K(3840, 2160);
constexpr double mebibyte = 1024 * 1024;

/// Keeps the compiler from removing the computation of a value.
void use(const void *place)
{
    asm volatile("" : : "g"(place) : "memory");
}

double valueBytes(const QSize &size)
{
    return double(size.width()) * size.height() * Reference::Grid::pixelLength * sizeof(unsigned short);
}

/// Bytes of the base64 texts: four characters of two bytes for every three bytes.
double textBytes(const QSize &size)
{
    return valueBytes(size) / 3 * 4 * 2;
}

QString nameOf(const QSize &size)
{
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

/// Random values (xorshift), the same in every process.
Values randomValues(const QSize &size)
{
    Values values(size.width() * size.height() * Reference::Grid::pixelLength);
    quint64 random = 88172645463325252;
    for (unsigned short &value : values) {
        random ^= random << 13;
        random ^= random >> 7;
        random ^= random << 17;
        value = static_cast<unsigned short>(random);
    }
    return values;
}

std::shared_ptr<Coefficient> makeGrid(int columns, int rows)
{
    return std::shared_ptr<Coefficient>(new Coefficient(columns, rows), Correction::CoefficientDeleter());
}

/// A grid whose values are not shared, as a host's are.
std::shared_ptr<Coefficient> randomGrid(const QSize &size)
{
    Values values = randomValues(size);
    auto grid = makeGrid(0, 0);
    grid->setPixelCol(size.width());
    grid->setPixelRow(size.height());
    grid->setCoefficient(values);
    return grid;
}

Reference::Grid randomReferenceGrid(const QSize &size)
{
    return Reference::Grid(size.width(), size.height(), randomValues(size));
}

/// A part somewhere in the middle, at no special address.
QRect middle(const QSize &grid, const QSize &part)
{
    return QRect(QPoint((grid.width() - part.width()) / 2 + 1, (grid.height() - part.height()) / 2 + 1), part);
}

// Blocks

Prepare encode(const QSize &size)
{
    return [=] {
        return [grid = randomGrid(size)] {
            const QString text = grid->toBase64();
            use(text.constData());
        };
    };
}

Prepare encodeObvious(const QSize &size)
{
    return [=] {
        return [values = randomValues(size)] {
            const QString text = Reference::encode(values);
            use(text.constData());
        };
    };
}

Prepare copyText(const QSize &size)
{
    return [=] {
        return [text = Reference::encode(randomValues(size))] {
            const QString copy(text.constData(), text.size());
            use(copy.constData());
        };
    };
}

QVariantList replyOf(const QSize &size, const QString &text)
{
    return {QVariantMap{{QStringLiteral("area.size.width"), size.width()},
                        {QStringLiteral("area.size.height"), size.height()},
                        {QStringLiteral("coefficients"), text}}};
}

Prepare decode(const QSize &size)
{
    return [=] {
        return [size, reply = replyOf(size, Reference::encode(randomValues(size))), grid = makeGrid(1, 1)]() mutable {
            Correction::RequestParser::toCabinetChromaCoefficient(QRect(QPoint(), size), reply, *grid);
        };
    };
}

Prepare decodeObvious(const QSize &size)
{
    return [=] {
        return [size, reply = replyOf(size, Reference::encode(randomValues(size)))] {
            const Reference::Grid grid = Reference::parse(size, reply);
            use(grid.values.constData());
        };
    };
}

Prepare copyTextBytes(const QSize &size)
{
    return [=] {
        const QString text = Reference::encode(randomValues(size));
        return [text, buffer = std::make_shared<std::vector<QChar>>(size_t(text.size()))] {
            std::memcpy(buffer->data(), text.constData(), buffer->size() * sizeof(QChar));
            use(buffer->data());
        };
    };
}

Prepare json(const QSize &size)
{
    return [=] {
        return [grid = randomGrid(size)] {
            const QString text = grid->toJsonData();
            use(text.constData());
        };
    };
}

Prepare jsonObvious(const QSize &size)
{
    return [=] {
        return [values = randomValues(size)] {
            const QString text = Reference::json(values);
            use(text.constData());
        };
    };
}

// Grids

/// The cabinets' places on a screen of this size.
QVector<QRect> places(const QSize &screen)
{
    QVector<QRect> rects;
    for (int y = 0; y < screen.height(); y += cabinetSize.height()) {
        for (int x = 0; x < screen.width(); x += cabinetSize.width())
            rects.append(QRect(QPoint(x, y), cabinetSize).intersected(QRect(QPoint(), screen)));
    }
    return rects;
}

/// A text for each block, all of them kept.
template <class Blocks, class Encode>
Pass encodeAll(const Blocks &blocks, Encode encodeBlock)
{
    auto texts = std::make_shared<std::vector<QString>>();
    texts->reserve(size_t(blocks.size()));
    return [=] {
        for (const auto &block : blocks)
            texts->push_back(encodeBlock(block));
        use(texts->data());
    };
}

QVector<std::shared_ptr<Coefficient>> blocksOf(const QSize &screen)
{
    QVector<std::shared_ptr<Coefficient>> blocks;
    for (const QRect &rect : places(screen))
        blocks.append(randomGrid(rect.size()));
    return blocks;
}

Prepare encodeBlocks(const QSize &screen)
{
    return [=] {
        return encodeAll(blocksOf(screen), [](const std::shared_ptr<Coefficient> &block) { return block->toBase64(); });
    };
}

Prepare encodeBlocksObvious(const QSize &screen)
{
    return [=] {
        QVector<Values> blocks;
        for (const QRect &rect : places(screen))
            blocks.append(randomValues(rect.size()));
        return encodeAll(blocks, &Reference::encode);
    };
}

/// One character on each page of a fresh text. The blocks are there as well: new pages may cost more the more memory a
/// process has.
Prepare touchPages(const QSize &screen)
{
    return [=] {
        const auto blocks = blocksOf(screen);
        return encodeAll(blocks, [](const std::shared_ptr<Coefficient> &block) {
            const QSize size(block->getPixelCol(), block->getPixelRow());
            QString text(int(textBytes(size) / sizeof(QChar)), Qt::Uninitialized);
            constexpr int page = 4096 / sizeof(QChar);
            for (int i = 0; i < text.size(); i += page)
                text.data()[i] = QLatin1Char('A');
            return text;
        });
    };
}

Prepare cut(const QSize &screen)
{
    return [=] {
        return [rect = middle(screen, cabinetSize), grid = randomGrid(screen)] {
            const CoefficientPtr block(grid->tryGetPart(rect));
            use(block.get());
        };
    };
}

Prepare cutObvious(const QSize &screen)
{
    return [=] {
        return [rect = middle(screen, cabinetSize), grid = randomReferenceGrid(screen)] {
            const Reference::Grid block = Reference::cut(grid, rect);
            use(block.values.constData());
        };
    };
}

/// Rows between a screen's values and a block's.
template <class CopyRow>
void forEachRow(const QSize &screen, const QRect &rect, CopyRow copyRow)
{
    const size_t length = size_t(rect.width()) * Reference::Grid::pixelLength;
    for (int row = 0; row < rect.height(); ++row) {
        const size_t pixel = size_t(rect.y() + row) * size_t(screen.width()) + size_t(rect.x());
        copyRow(pixel * Reference::Grid::pixelLength, size_t(row) * length, length * sizeof(unsigned short));
    }
}

Prepare cutRows(const QSize &screen)
{
    return [=] {
        const QRect rect = middle(screen, cabinetSize);
        return [screen, rect, values = randomValues(screen), block = randomValues(rect.size())]() mutable {
            unsigned short *const to = block.data();
            forEachRow(screen, rect, [&](size_t inGrid, size_t inBlock, size_t bytes) {
                std::memcpy(to + inBlock, values.constData() + inGrid, bytes);
            });
            use(to);
        };
    };
}

Prepare paste(const QSize &screen)
{
    return [=] {
        return [rect = middle(screen, cabinetSize), grid = randomGrid(screen), block = randomGrid(cabinetSize)] {
            grid->setPartCoefficient(rect, *block);
        };
    };
}

Prepare pasteObvious(const QSize &screen)
{
    return [=] {
        return [rect = middle(screen, cabinetSize), grid = randomReferenceGrid(screen),
                block = randomReferenceGrid(cabinetSize)]() mutable { Reference::paste(grid, rect, block); };
    };
}

Prepare pasteRows(const QSize &screen)
{
    return [=] {
        const QRect rect = middle(screen, cabinetSize);
        return [screen, rect, values = randomValues(screen), block = randomValues(rect.size())]() mutable {
            unsigned short *const to = values.data();
            forEachRow(screen, rect, [&](size_t inGrid, size_t inBlock, size_t bytes) {
                std::memcpy(to + inGrid, block.constData() + inBlock, bytes);
            });
            use(to);
        };
    };
}

Prepare average(const QSize &screen)
{
    return [=] {
        return [grid = randomGrid(screen)] {
            Values means;
            grid->tryGetAvg(means);
            use(means.constData());
        };
    };
}

Prepare averageObvious(const QSize &screen)
{
    return [=] {
        return [grid = randomReferenceGrid(screen)] {
            const Values means = Reference::average(grid);
            use(means.constData());
        };
    };
}

Prepare readMemory(const QSize &screen)
{
    return [=] {
        return [values = randomValues(screen)] {
            const unsigned char *const bytes = reinterpret_cast<const unsigned char *>(values.constData());
            const size_t size = size_t(values.size()) * sizeof(unsigned short);
            quint64 all = 0;
            for (size_t i = 0; i + sizeof all <= size; i += sizeof all) {
                quint64 word;
                std::memcpy(&word, bytes + i, sizeof word);
                all |= word;
            }
            use(&all);
        };
    };
}

// Log lines

constexpr int lineCount = 1000;

/// A refused assignment does next to nothing but its debug line.
Prepare logLines(int count)
{
    return [=] {
        return [count, grid = makeGrid(1, 1), wrong = Values(1, 0)]() mutable {
            for (int i = 0; i < count; ++i)
                grid->setCoefficient(wrong);
        };
    };
}

Prepare logLinesObvious(int count)
{
    return [=] {
        return [=] {
            for (int i = 0; i < count; ++i)
                Reference::logLine(Reference::Grid::pixelLength, 1, 1);
        };
    };
}

// Walls

bool isSame(const Wall &a, const Wall &b)
{
    return a.devices == b.devices && a.area == b.area && a.cabinet == b.cabinet && a.modules == b.modules;
}

/// The screen of a wall. It is kept until another wall is requested, so that the ways of one case share it.
Correction::IScreen &discover(const Wall &wall)
{
    static Wall current;
    auto *const manager = Correction::ScreenManager::getInstance();
    if (!isSame(wall, current)) {
        CountingService::setWall(wall);
        if (manager->refreshScreen() != Correction::enSuccess)
            qFatal("no screen");
        current = wall;
    }
    return *manager->tryGetScreen(manager->getNameMapping().firstKey());
}

/// The same wall for the obvious way, which serves walls of one device.
std::shared_ptr<Reference::SubScreen> referenceWall(const Wall &wall)
{
    discover(wall);
    const QVector<CountingService::CabinetPlace> &cabinets = CountingService::cabinets();
    auto subScreen = std::make_shared<Reference::SubScreen>(cabinets.constFirst().deviceKey);
    for (const CountingService::CabinetPlace &place : cabinets) {
        Reference::Cabinet cabinet;
        cabinet.id = place.id;
        cabinet.flag = QStringLiteral("new");
        cabinet.deviceKey = place.deviceKey;
        cabinet.rect = place.rect;
        cabinet.cards.append(new Reference::Part{QStringLiteral("0"), cabinet.flag, QRect(QPoint(), place.rect.size())});
        const int width = place.rect.width() / wall.modules;
        for (int module = 0; module < wall.modules; ++module) {
            cabinet.modules.append(new Reference::Part{QString::number(module), cabinet.flag,
                                                       QRect(module * width, 0, width, place.rect.height())});
        }
        subScreen->add(cabinet);
    }
    return subScreen;
}

/// A write over `rect` of a wall; the service keeps its texts until the next pass.
Prepare write(const Wall &wall, const QRect &rect)
{
    return [=] {
        return [rect, &screen = discover(wall), grid = randomGrid(rect.size())] {
            CountingService::dropUploads();
            if (screen.setCoefficients(rect, *grid) != Correction::enSuccess || CountingService::uploads().isEmpty())
                qFatal("not written");
        };
    };
}

Prepare writeObvious(const Wall &wall, const QRect &rect)
{
    return [=] {
        return [rect, subScreen = referenceWall(wall), grid = randomReferenceGrid(rect.size())] {
            CountingService::dropUploads();
            Correctionop::getInstance()->uploadCoefficientAsync(QString(), subScreen->uploadOf(rect, grid));
        };
    };
}

/// Copies of the texts of a write, kept until the next pass.
Prepare copyTexts(const QSize &screen)
{
    return [=] {
        const auto texts = std::make_shared<std::vector<QString>>();
        const auto copies = std::make_shared<std::vector<QString>>();
        for (const QRect &rect : places(screen))
            texts->push_back(Reference::encode(randomValues(rect.size())));
        copies->reserve(texts->size());
        return [texts, copies] {
            copies->clear();
            for (const QString &text : *texts)
                copies->push_back(QString(text.constData(), text.size()));
            use(copies->data());
        };
    };
}

void prepareReplies()
{
    for (const CountingService::CabinetPlace &place : CountingService::cabinets())
        CountingService::setCoefficients(place.id, Reference::encode(randomValues(place.rect.size())));
}

Prepare read(const Wall &wall)
{
    return [=] {
        auto &screen = discover(wall);
        prepareReplies();
        return [&screen, rect = QRect(QPoint(), wall.area), grid = randomGrid(wall.area)] {
            if (screen.tryGetCoefficients(rect, *grid) != Correction::enSuccess)
                qFatal("not read");
        };
    };
}

Prepare readObvious(const Wall &wall)
{
    return [=] {
        const auto subScreen = referenceWall(wall);
        prepareReplies();
        return [subScreen, rect = QRect(QPoint(), wall.area), grid = randomReferenceGrid(wall.area)]() mutable {
            const auto load = [](const QString &, const QString &cabinetId) {
                return CountingService::coefficients(cabinetId);
            };
            Reference::read(*subScreen, rect, load, grid);
        };
    };
}

/// Decodes the texts of a read, one after the other, and copies as many values as its grid has.
Prepare decodeAndCopy(const Wall &wall)
{
    return [=] {
        discover(wall);
        prepareReplies();
        struct Reply {
            QRect cabinet;
            QVariantList blocks;
        };
        const auto replies = std::make_shared<std::vector<Reply>>();
        for (const CountingService::CabinetPlace &place : CountingService::cabinets())
            replies->push_back({place.rect, CountingService::coefficients(place.id)});
        return [replies, cabinet = makeGrid(1, 1), from = randomValues(wall.area), to = randomValues(wall.area)]() mutable {
            for (Reply &reply : *replies)
                Correction::RequestParser::toCabinetChromaCoefficient(reply.cabinet, reply.blocks, *cabinet);
            std::memcpy(to.data(), from.constData(), size_t(from.size()) * sizeof(unsigned short));
            use(to.constData());
        };
    };
}

/// Every refresh after the first: it also removes the screens of the previous one.
Prepare refresh(const Wall &wall)
{
    return [=] {
        discover(wall);
        return [] { Correction::ScreenManager::getInstance()->refreshScreen(); };
    };
}

/// Adds up every number and every character, those of the keys included.
struct Walk {
    quint64 sum = 0;

    void operator()(const QString &text)
    {
        for (const QChar character : text)
            sum += character.unicode();
    }
    void operator()(const QVariantList &list)
    {
        for (const QVariant &element : list)
            (*this)(element);
    }
    void operator()(const QVariantMap &map)
    {
        for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
            (*this)(entry.key());
            (*this)(entry.value());
        }
    }
    void operator()(const QVariant &value)
    {
        switch (value.userType()) {
        case QMetaType::QVariantMap:
            return (*this)(*static_cast<const QVariantMap *>(value.constData()));
        case QMetaType::QVariantList:
            return (*this)(*static_cast<const QVariantList *>(value.constData()));
        case QMetaType::QString:
            return (*this)(*static_cast<const QString *>(value.constData()));
        case QMetaType::Int:
            sum += quint64(*static_cast<const int *>(value.constData()));
            return;
        default:
            sum += value.toUInt();
        }
    }
};

/// Reads what a refresh reads: each entry of the replies once, in place and in the order in which they are in memory.
Prepare walkReplies(const Wall &wall)
{
    return [=] {
        discover(wall);
        return [key = CountingService::cabinets().constFirst().deviceKey] {
            QVariantMap screen;
            QVariantList cabinets;
            QVariantList flags;
            ScreenInfo::getInstance()->getScreens(key, screen, true);
            CabinetInfoOperator::getInstance()->getAllCabinetsInfo(key, cabinets, true);
            CabinetInfoOperator::getInstance()->getCabAllFlags(key, flags);
            Walk walk;
            walk(screen);
            walk(cabinets);
            walk(flags);
            use(&walk.sum);
        };
    };
}

// Slow devices

constexpr int latency = 200;

constexpr int deviceCount = 16;

/// Devices of one cabinet each.
Wall deviceWall()
{
    return Wall{deviceCount, cabinetSize, cabinetSize};
}

QRect rectOfDevices(int count)
{
    return QRect(0, 0, count * cabinetSize.width(), cabinetSize.height());
}

/// A write to the first devices, whose uploads take so long.
Prepare writeSlowly(int devices, int milliseconds)
{
    return [=] {
        CountingService::setLatency(milliseconds);
        return write(deviceWall(), rectOfDevices(devices))();
    };
}

/// Each device's upload waits for the one before it.
Prepare writeOneByOne(int devices)
{
    return [=] {
        const QRect rect = rectOfDevices(devices);
        auto &screen = discover(deviceWall());
        CountingService::setLatency(latency);
        QVector<Correction::ISubScreen *> subScreens;
        for (const CountingService::CabinetPlace &place : CountingService::cabinets())
            subScreens.append(screen.tryGetSubScreen(place.deviceKey));
        return [rect, subScreens, grid = randomGrid(rect.size())] {
            CountingService::dropUploads();
            for (Correction::ISubScreen *subScreen : subScreens)
                subScreen->setCoefficientsAsync(rect, *grid);
        };
    };
}

/// Polls whether the upload has settled.
Prepare waitSpinning(int milliseconds)
{
    return [=] {
        CountingService::setLatency(milliseconds);
        return [] {
            const auto promise = Correctionop::getInstance()->uploadCoefficientAsync(QString(), QVariantList());
            while (promise.isPending())
                QCoreApplication::processEvents();
        };
    };
}

// Memory: the passes allocate their grids themselves, so that these are measured.

Prepare peakOfWrite(const Wall &wall, bool asynchronous)
{
    return [=] {
        auto &screen = discover(wall);
        auto *const subScreen = screen.tryGetSubScreen(CountingService::cabinets().constFirst().deviceKey);
        return [=, rect = QRect(QPoint(), wall.area)] {
            const auto grid = randomGrid(rect.size());
            if (asynchronous)
                subScreen->setCoefficientsAsync(rect, *grid);
            else
                subScreen->setCoefficients(rect, *grid);
        };
    };
}

Prepare peakOfRead(const Wall &wall)
{
    return [=] {
        auto &screen = discover(wall);
        auto *const subScreen = screen.tryGetSubScreen(CountingService::cabinets().constFirst().deviceKey);
        prepareReplies();
        return [=, rect = QRect(QPoint(), wall.area)] {
            const auto grid = randomGrid(rect.size());
            subScreen->tryGetCoefficients(rect, *grid);
        };
    };
}

Prepare peakOfWriteObvious(const Wall &wall)
{
    return [=] {
        return [subScreen = referenceWall(wall), rect = QRect(QPoint(), wall.area)] {
            const Reference::Grid grid = randomReferenceGrid(rect.size());
            Correctionop::getInstance()->uploadCoefficientAsync(QString(), subScreen->uploadOf(rect, grid));
        };
    };
}

/// As much memory as this, in use at the same time.
Prepare occupy(double bytes)
{
    return [=] {
        return [=] {
            const std::vector<char> memory(size_t(bytes), '\1');
            use(memory.data());
        };
    };
}

} // namespace

QVector<Case> allCases()
{
    QVector<Case> cases;
    const auto add = [&cases](const QString &name, Measure measure, const Prepare &library, const Prepare &obvious,
                              const Prepare &limit = Prepare(), const QString &limitIs = QString()) -> Case & {
        cases.append(Case{name, measure, library, obvious, limit, limitIs});
        return cases.last();
    };
    // Blocks. The targets apply to blocks of a usual cabinet's size.
    const auto asked = [](Case &ofCase, bool isAsked, double timesObvious, double timesLimit) {
        if (isAsked) {
            ofCase.timesObvious = timesObvious;
            ofCase.timesLimit = timesLimit;
        }
    };
    for (const QSize &size : {QSize(64, 32), cabinetSize, QSize(480, 270)}) {
        Case &added = add(QStringLiteral("encode %1").arg(nameOf(size)), Measure::Warm, encode(size), encodeObvious(size),
                          copyText(size), QStringLiteral("a copy of the finished text"));
        asked(added, size == cabinetSize, 20, 1.2);
    }
    for (const QSize &size : {QSize(64, 32), cabinetSize, QSize(480, 270)}) {
        Case &added = add(QStringLiteral("decode %1").arg(nameOf(size)), Measure::Warm, decode(size), decodeObvious(size),
                          copyTextBytes(size), QStringLiteral("a copy of the text's bytes"));
        asked(added, size == cabinetSize, 40, 1.5);
    }
    for (const QSize &size : {QSize(64, 32), cabinetSize, QSize(480, 270)}) {
        Case &added = add(QStringLiteral("JSON %1").arg(nameOf(size)), Measure::Warm, json(size), jsonObvious(size));
        asked(added, size == cabinetSize, 30, 0);
    }

    const QVector<QPair<QString, QSize>> screens{{QStringLiteral("1080p"), QSize(1920, 1080)},
                                                 {QStringLiteral("4K"), size4K},
                                                 {QStringLiteral("8K"), QSize(7680, 4320)}};
    for (const auto &screen : screens) {
        const QSize size = screen.second;
        Case &added = add(QStringLiteral("encode %1 in blocks, fresh").arg(screen.first), Measure::Fresh, encodeBlocks(size),
                          encodeBlocksObvious(size), touchPages(size), QStringLiteral("touching fresh pages for the texts"));
        asked(added, size == size4K, 0, 1.2);
        added.memory = valueBytes(size) + textBytes(size) + 64 * mebibyte;
    }
    for (const auto &screen : screens) {
        Case &added = add(QStringLiteral("cut 128x128 out of %1").arg(screen.first), Measure::Warm, cut(screen.second),
                          cutObvious(screen.second), cutRows(screen.second), QStringLiteral("rows into a reused buffer"));
        asked(added, screen.second == size4K, 17, 1.3);
        added.memory = 3 * valueBytes(screen.second) + 64 * mebibyte;
    }
    for (const auto &screen : screens) {
        Case &added = add(QStringLiteral("paste 128x128 into %1").arg(screen.first), Measure::Warm, paste(screen.second),
                          pasteObvious(screen.second), pasteRows(screen.second), QStringLiteral("copies of rows"));
        asked(added, screen.second == size4K, 14, 1.1);
        added.memory = 3 * valueBytes(screen.second) + 64 * mebibyte;
    }
    for (const auto &screen : screens) {
        Case &added =
            add(QStringLiteral("average over %1").arg(screen.first), Measure::Warm, average(screen.second),
                averageObvious(screen.second), readMemory(screen.second), QStringLiteral("one read of the memory"));
        asked(added, screen.second == size4K, 0, 1.2);
        added.memory = 3 * valueBytes(screen.second) + 64 * mebibyte;
    }

    Case &lines =
        add(QStringLiteral("1,000 log lines that are off"), Measure::Warm, logLines(lineCount), logLinesObvious(lineCount));
    lines.timesObvious = 150;
    lines.ifMissed = QStringLiteral("three quarters of it is the loop around the lines");
    add(QStringLiteral("1,000 log lines that are off, allocations"), Measure::Allocations, logLines(lineCount), Prepare())
        .atMost = 0;

    const Wall large{1, QSize(6400, 3200), QSize(64, 32)};
    add(QStringLiteral("small write, 10,000 cabinets"), Measure::Warm, write(large, QRect(3196, 1590, 8, 8)),
        writeObvious(large, QRect(3196, 1590, 8, 8)))
        .timesObvious = 5;

    const Wall wall4K{1, size4K, cabinetSize};
    const QRect all4K(QPoint(), size4K);
    const double wholeMemory = valueBytes(size4K) + 3 * textBytes(size4K);
    for (const Measure measure : {Measure::Fresh, Measure::Warm}) {
        const bool fresh = measure == Measure::Fresh;
        Case &added = add(QStringLiteral("whole 4K write, %1").arg(fresh ? QLatin1String("fresh") : QLatin1String("warm")),
                          measure, write(wall4K, all4K), writeObvious(wall4K, all4K), copyTexts(size4K),
                          QStringLiteral("copies of ready texts"));
        asked(added, true, fresh ? 0 : 8, fresh ? 1.25 : 1.3);
        added.memory = wholeMemory;
    }
    for (const Measure measure : {Measure::Fresh, Measure::Warm}) {
        const bool fresh = measure == Measure::Fresh;
        Case &added = add(QStringLiteral("whole 4K read, %1").arg(fresh ? QLatin1String("fresh") : QLatin1String("warm")),
                          measure, read(wall4K), readObvious(wall4K), fresh ? Prepare() : decodeAndCopy(wall4K),
                          fresh ? QString() : QStringLiteral("decoding the texts, and one copy of the grid"));
        asked(added, true, fresh ? 11 : 20, fresh ? 0 : 1.5);
        added.memory = wholeMemory;
    }

    const auto cabinetsInARow = [](int count) { return Wall{1, QSize(16 * count, 16), QSize(16, 16)}; };
    Case &discovery = add(QStringLiteral("refresh of 100,000 cabinets"), Measure::Fresh, refresh(cabinetsInARow(100000)),
                          Prepare(), refresh(cabinetsInARow(10000)), QStringLiteral("that of 10,000"));
    discovery.timesLimit = 10.3;
    discovery.ifMissed = QStringLiteral("caches hold 10,000 better than 100,000");
    discovery.memory = 2048 * mebibyte;
    Case &replies =
        add(QStringLiteral("refresh of 100,000 cabinets, its replies"), Measure::Fresh, refresh(cabinetsInARow(100000)),
            Prepare(), walkReplies(cabinetsInARow(100000)), QStringLiteral("one walk over the replies"));
    replies.timesLimit = 1.5;
    replies.ifMissed = QStringLiteral("it makes objects and sorted maps of what it reads");
    replies.memory = 2048 * mebibyte;

    Case &parallel = add(QStringLiteral("16 devices that take 200 ms"), Measure::Elapsed, writeSlowly(deviceCount, latency),
                         writeOneByOne(deviceCount), writeSlowly(1, latency), QStringLiteral("one such device"));
    parallel.timesLimit = 1.1;
    add(QStringLiteral("pending wait, share of a core"), Measure::CpuShare, writeSlowly(1, 2000), waitSpinning(2000))
        .atMost = 0.01;

    const double block = valueBytes(cabinetSize) + textBytes(cabinetSize);
    const auto addMemory = [&](const QString &name, const Prepare &library, const Prepare &obvious, double bytes,
                               const QString &limitIs) {
        Case &added = add(name, Measure::PeakMemory, library, obvious, occupy(bytes), limitIs);
        added.timesLimit = 1.1;
        added.memory = wholeMemory;
    };
    addMemory(QStringLiteral("memory of a 4K write, cabinet by cabinet"), peakOfWrite(wall4K, false), Prepare(),
              valueBytes(size4K) + block, QStringLiteral("the grid, one block and its text"));
    addMemory(QStringLiteral("memory of a 4K write, all at once"), peakOfWrite(wall4K, true), peakOfWriteObvious(wall4K),
              valueBytes(size4K) + textBytes(size4K), QStringLiteral("the grid and the texts"));
    addMemory(QStringLiteral("memory of a 4K read"), peakOfRead(wall4K), Prepare(),
              valueBytes(size4K) + valueBytes(cabinetSize), QStringLiteral("the grid, and a cabinet's grid"));
    return cases + calibrationCases();
}

QVector<Case> countedCases()
{
    QVector<Case> cases;
    const auto add = [&cases](const char *name, const Prepare &library) {
        Case added;
        added.name = QLatin1String(name);
        added.library = library;
        cases.append(added);
    };
    const QSize screen(640, 360);
    const Wall wall{1, screen, QSize(64, 64)};
    const Wall large{1, QSize(800, 320), QSize(16, 16)};
    add("encode_128x128", encode(cabinetSize));
    add("decode_128x128", decode(cabinetSize));
    add("json_128x128", json(cabinetSize));
    add("cut_128x128", cut(screen));
    add("paste_128x128", paste(screen));
    add("average_640x360", average(screen));
    add("log_lines_off_1000", logLines(lineCount));
    add("small_write_1000_cabinets", write(large, QRect(396, 156, 8, 8)));
    add("whole_write_60_cabinets", write(wall, QRect(QPoint(), screen)));
    add("whole_read_60_cabinets", read(wall));
    add("refresh_1000_cabinets", refresh(large));
    return cases;
}

} // namespace Bench
