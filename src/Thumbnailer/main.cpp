// Makes the thumbnail of one file and prints it as a JPEG:
//
//     keelhaven-thumbnailer image|video CPU-SECONDS MEMORY-MEBIBYTES FILE
//
// The file may be anything that calls itself a picture or a video. So it is decoded here, in a process that
// can write no file and gets no more time and memory than it was told; a decoder that fails takes only this
// process with it. Exit status 0 with a picture, 1 without one, 2 for wrong use.

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize imageBox(512, 512);
constexpr QSize videoBox(512, 384);
constexpr int jpegQuality = 80;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#elif defined(__has_feature)
constexpr bool isSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool isSanitized = false;
#endif

struct Job
{
    bool isVideo = false;
    rlim_t cpuSeconds = 0;
    rlim_t memoryMebibytes = 0;
    const char *path = nullptr;
};

std::optional<rlim_t> positiveNumber(const char *text)
{
    bool isNumber = false;
    const qulonglong number = QByteArrayView(text).toULongLong(&isNumber);
    return isNumber && number > 0 && number < 1'000'000 ? std::optional(rlim_t(number)) : std::nullopt;
}

std::optional<Job> parse(int argc, char **argv)
{
    if (argc != 5)
        return std::nullopt;
    const QByteArrayView mode(argv[1]);
    const auto seconds = positiveNumber(argv[2]);
    const auto memory = positiveNumber(argv[3]);
    if ((mode != "image" && mode != "video") || !seconds || !memory)
        return std::nullopt;
    return Job{mode == "video", *seconds, *memory, argv[4]};
}

bool limit(__rlimit_resource resource, rlim_t value)
{
    const rlimit both{value, value};
    return ::setrlimit(resource, &both) == 0;
}

/// The limits hold for this process and what it starts.
bool confine(const Job &job)
{
    // A library that writes a cache of its own is told that it cannot, instead of being killed.
    std::signal(SIGXFSZ, SIG_IGN);
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    // Sanitizers reserve more address space than any limit allows.
    const bool isMemoryLimited = isSanitized || limit(RLIMIT_AS, job.memoryMebibytes << 20);
    return isMemoryLimited && limit(RLIMIT_CPU, job.cpuSeconds) && limit(RLIMIT_CORE, 0) &&
           limit(RLIMIT_FSIZE, 0);
}

/// The file's descriptor, -1 unless it is a regular file. Children inherit it.
int openRegular(const char *path)
{
    const int descriptor = ::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat status = {};
    const bool isRegular = descriptor >= 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    return isRegular ? descriptor : -1;
}

bool fits(QSize size, QSize box)
{
    return size.width() <= box.width() && size.height() <= box.height();
}

/// `size` made to fit into `box`, its shape kept; a side never vanishes.
QSize fitted(QSize size, QSize box)
{
    return size.scaled(box, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
}

QImage decode(QIODevice &device, const QByteArray &formatHint, QSize box)
{
    QImageReader reader(&device);
    // The content tells what it is; the name is asked only where that fails.
    if (!reader.canRead())
        reader.setFormat(formatHint);
    reader.setAutoTransform(true);
    // Known beforehand, the target size spares the decoders that can the full-size picture.
    const QSize size = reader.size();
    if (size.isValid() && !fits(size, box))
        reader.setScaledSize(fitted(size, box));
    QImage image = reader.read();
    if (!image.isNull() && !fits(image.size(), box))
        image = image.scaled(fitted(image.size(), box), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return image;
}

/// A JPEG has no transparency; what is transparent becomes white.
QImage onWhite(const QImage &image)
{
    if (!image.hasAlphaChannel())
        return image;
    QImage opaque(image.size(), QImage::Format_RGB32);
    opaque.fill(Qt::white);
    QPainter(&opaque).drawImage(0, 0, image);
    return opaque;
}

QImage readImage(int descriptor, const QByteArray &formatHint)
{
    QFile file;
    if (!file.open(descriptor, QIODevice::ReadOnly))
        return {};
    return decode(file, formatHint, imageBox);
}

/// The frame at one second, or the first one of a shorter video; nothing where ffmpegthumbnailer is not
/// installed.
QImage readVideo(int descriptor)
{
    const QString program = QStandardPaths::findExecutable(u"ffmpegthumbnailer"_s);
    if (program.isEmpty())
        return {};
    QProcess frame;
    frame.setStandardErrorFile(QProcess::nullDevice());
    frame.setStandardInputFile(QProcess::nullDevice());
    frame.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    // By descriptor: whatever stands at the path by now, this is the file that was looked at.
    const QString source = u"/proc/self/fd/%1"_s.arg(descriptor);
    frame.start(program, {u"-i"_s, source, u"-o"_s, u"-"_s, u"-c"_s, u"jpeg"_s, u"-q"_s, u"10"_s, u"-s"_s,
                          u"0"_s, u"-t"_s, u"00:00:01"_s});
    // The CPU limit ends a busy child; whoever started this process ends a waiting one.
    if (!frame.waitForFinished(-1) || frame.exitStatus() != QProcess::NormalExit || frame.exitCode() != 0)
        return {};
    QByteArray bytes = frame.readAllStandardOutput();
    QBuffer buffer(&bytes);
    if (!buffer.open(QIODevice::ReadOnly))
        return {};
    return decode(buffer, "jpeg", videoBox);
}

bool print(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(jpegQuality);
    if (!buffer.open(QIODevice::WriteOnly) || !writer.write(onWhite(image)))
        return false;
    const auto size = static_cast<size_t>(bytes.size());
    return std::fwrite(bytes.constData(), 1, size, stdout) == size && std::fflush(stdout) == 0;
}

} // namespace

int main(int argc, char **argv)
{
    ::umask(077);
    const auto job = parse(argc, argv);
    if (!job) {
        std::fputs("usage: keelhaven-thumbnailer image|video CPU-SECONDS MEMORY-MEBIBYTES FILE\n", stderr);
        return 2;
    }
    const int descriptor = openRegular(job->path);
    if (descriptor < 0 || !confine(*job))
        return EXIT_FAILURE;
    const QByteArray extension = QFileInfo(QFile::decodeName(job->path)).suffix().toLower().toLatin1();
    // Text in a drawing needs fonts, and those need an application with a platform; the others do without.
    std::unique_ptr<QCoreApplication> application;
    if (extension == "svg") {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application = std::make_unique<QGuiApplication>(argc, argv);
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }
    // A picture is held twice while it is made smaller; the rest is what the libraries themselves need.
    QImageReader::setAllocationLimit(static_cast<int>(job->memoryMebibytes / 3));
    const QImage image = job->isVideo ? readVideo(descriptor) : readImage(descriptor, extension);
    return !image.isNull() && print(image) ? EXIT_SUCCESS : EXIT_FAILURE;
}
