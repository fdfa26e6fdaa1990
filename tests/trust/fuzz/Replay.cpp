// Runs a fuzz target without libFuzzer: TARGET FOLDER MUTATIONS. Every file of the folder is an input, and then as many
// mutations of them as asked for, the same ones in every run. An input that ends the process is written to
// `TARGET.finding` in the current folder.

#include "Fuzz.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QVector>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>

#include <fcntl.h>
#include <unistd.h>

/// Of sanitizers, which end the process without a signal; null without one.
extern "C" void
__sanitizer_set_death_callback(void (*callback)()) // NOLINT(bugprone-reserved-identifier): the runtime's name
    __attribute__((weak));
extern "C" int LLVMFuzzerInitialize(int *, char ***);
extern "C" int LLVMFuzzerTestOneInput(const uchar *data, std::size_t size);

namespace {

QByteArray current;
QByteArray findingPath;

void keepInput()
{
    const int file = ::open(findingPath.constData(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    if (file >= 0 && ::write(file, current.constData(), std::size_t(current.size())) == current.size()) {
        static const char text[] = "the input is in the file *.finding\n";
        if (::write(2, text, sizeof text - 1) < 0)
            ::_exit(1);
    }
}

void endBySignal(int signal)
{
    keepInput();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void mutate(QByteArray &input, const QVector<QByteArray> &corpus, std::mt19937 &random)
{
    static const char bold[] = {'\0', '\1', '\x7f', '\x80', '\xff', '@', '0', '9', '-', '"', '{', '}', '[', ']', ',', '\n'};
    const auto below = [&random](int count) { return count > 0 ? int(random() % uint(count)) : 0; };
    for (int left = 1 + below(6); left > 0; --left) {
        const int at = below(input.size() + 1);
        const bool isInside = at < input.size();
        switch (below(7)) {
        case 0:
            if (isInside)
                input[at] = char(input[at] ^ (1 << below(8)));
            break;
        case 1:
            if (isInside)
                input[at] = char(below(256));
            break;
        case 2:
            if (isInside)
                input[at] = bold[below(int(sizeof bold))];
            break;
        case 3:
            input.insert(at, char(below(256)));
            break;
        case 4:
            input.remove(at, 1 + below(8));
            break;
        case 5:
            input.insert(at, input.mid(below(input.size()), 1 + below(16)));
            break;
        default: {
            const QByteArray &other = corpus[below(corpus.size())];
            input = input.left(at) + other.mid(below(other.size() + 1));
        }
        }
    }
}

void test(const QByteArray &input)
{
    current = input;
    // In memory of its own size, so that a sanitizer sees a read behind the end.
    const QVector<uchar> bytes(reinterpret_cast<const uchar *>(input.cbegin()),
                               reinterpret_cast<const uchar *>(input.cend()));
    LLVMFuzzerTestOneInput(bytes.constData(), std::size_t(bytes.size()));
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s FOLDER MUTATIONS\n", argv[0]);
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    findingPath = QFileInfo(QString::fromLocal8Bit(argv[0])).fileName().toLocal8Bit() + ".finding";
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL})
        std::signal(signal, endBySignal);
    if (__sanitizer_set_death_callback)
        __sanitizer_set_death_callback(keepInput);
    LLVMFuzzerInitialize(&argc, &argv);
    QVector<QByteArray> corpus;
    for (const QFileInfo &file : folder.entryInfoList(QDir::Files, QDir::Name)) {
        corpus.append(Fuzz::read(file.filePath()));
        std::printf("%s\n", qPrintable(file.fileName()));
        std::fflush(stdout);
        test(corpus.constLast());
    }
    if (corpus.isEmpty()) {
        std::fprintf(stderr, "no inputs in %s\n", argv[1]);
        return 1;
    }
    std::mt19937 random(1);
    const int mutations = std::atoi(argv[2]);
    for (int i = 0; i < mutations; ++i) {
        QByteArray input = corpus[int(random() % uint(corpus.size()))];
        mutate(input, corpus, random);
        test(input);
    }
    std::printf("%d inputs and %d mutations\n", corpus.size(), mutations);
    return 0;
}
