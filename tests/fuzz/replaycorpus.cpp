// Feeds the files of a folder to the function of a fuzzer. Takes what any compiler builds in the place of libFuzzer.

#include <QDir>
#include <QFile>

#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size);

int main(int argc, char **argv)
{
    const QDir corpus(argc == 2 ? QString::fromLocal8Bit(argv[1]) : QString());
    const QStringList names = corpus.entryList(QDir::Files, QDir::Name);
    if (argc != 2 || names.isEmpty()) {
        std::fprintf(stderr, "usage: %s FOLDER, with files\n", argv[0]);
        return 2;
    }
    for (const QString &name : names) {
        QFile file(corpus.filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "%s: %s\n", qUtf8Printable(name), qUtf8Printable(file.errorString()));
            return 1;
        }
        const QByteArray bytes = file.readAll();
        std::printf("%s\n", qUtf8Printable(name)); // the last one named is the one that failed
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char *>(bytes.constData()),
                               static_cast<size_t>(bytes.size()));
    }
    return 0;
}
