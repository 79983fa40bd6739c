#include "Assets/AssetProcessor.h"
#include "Platform/QtProcessRunner.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QBuffer>
#include <QImage>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class ThumbnailerTest : public ::testing::Test
{
protected:
    ProcessResult run(const QStringList &arguments)
    {
        ProcessSpec spec;
        spec.program = program;
        spec.arguments = arguments;
        spec.timeout = std::chrono::seconds(40);
        return await(processes.run(spec), std::chrono::seconds(50));
    }
    /// Null when there is no thumbnail.
    QImage thumbnail(const QString &path, const QString &mode = u"image"_s)
    {
        const ProcessResult result = run({mode, u"10"_s, mode == u"video" ? u"4096"_s : u"1024"_s, path});
        if (result.succeeded())
            return QImage::fromData(result.output, "JPEG");
        EXPECT_TRUE(result.output.isEmpty());
        return {};
    }
    static QByteArray encoded(const QImage &image, const char *format)
    {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        EXPECT_TRUE(buffer.open(QIODevice::WriteOnly) && image.save(&buffer, format));
        return bytes;
    }
    static QImage filled(QSize size, QColor color, QImage::Format format = QImage::Format_RGB32)
    {
        QImage image(size, format);
        image.fill(color);
        return image;
    }

    TestHome home;
    QtProcessRunner processes;
    QString program = QStringLiteral(KEELHAVEN_BIN_DIR "/keelhaven-thumbnailer");
};

/// A JPEG whose left half is red and whose Exif data say that it is to be turned by a quarter to the right.
QByteArray turnedJPEG(const QByteArray &jpeg)
{
    QByteArray exif = QByteArray::fromHex("ffe10022457869660000"         // marker, length, "Exif"
                                          "4d4d002a00000008"             // big-endian TIFF, first directory
                                          "0001011200030000000100060000" // one entry: orientation 6
                                          "00000000");
    return jpeg.first(2) + exif + jpeg.sliced(2);
}

/// A PNG that claims to be `side` pixels each way.
QByteArray pngBomb(QByteArray png, quint32 side)
{
    const auto put = [&](qsizetype at, quint32 value) {
        for (int i = 0; i < 4; ++i)
            png[at + i] = static_cast<char>(value >> (24 - 8 * i));
    };
    put(16, side);
    put(20, side);
    quint32 crc = ~0U;
    for (const char byte : png.sliced(12, 17)) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1U) != 0 ? 0xedb88320U : 0U);
    }
    put(29, ~crc);
    return png;
}

TEST_F(ThumbnailerTest, PicturesFitTheBox)
{
    const QByteArray png = encoded(filled({2000, 1000}, Qt::blue), "PNG");
    const struct
    {
        const char16_t *name;
        QByteArray bytes;
        QSize size;
        QColor middle;
    } cases[] = {
        {u"big.png", png, {512, 256}, Qt::blue},
        {u"tall.bmp", encoded(filled({300, 600}, Qt::red), "BMP"), {256, 512}, Qt::red},
        {u"small.png", encoded(filled({10, 20}, Qt::green), "PNG"), {10, 20}, Qt::green},
        {u"strip.png", encoded(filled({9000, 2}, Qt::red), "PNG"), {512, 1}, Qt::red},
        {u"wrong.gif", png, {512, 256}, Qt::blue},
        {u"clear.png",
         encoded(filled({600, 600}, Qt::transparent, QImage::Format_ARGB32), "PNG"),
         {512, 512},
         Qt::white},
        {u"drawing.svg",
         "<svg xmlns='http://www.w3.org/2000/svg' width='1024' height='512'><rect width='1024' height='512' "
         "fill='#ff0000'/><text x='5' y='40'>words</text></svg>",
         {512, 256},
         Qt::red},
        {u"vast.svg",
         "<svg xmlns='http://www.w3.org/2000/svg' width='900000' height='900000'><rect width='900000' "
         "height='900000' fill='#00f'/></svg>",
         {512, 512},
         Qt::blue},
    };
    for (const auto &row : cases) {
        const QImage image = thumbnail(home.write(QString::fromUtf16(row.name), row.bytes));
        ASSERT_EQ(image.size(), row.size) << QString::fromUtf16(row.name).toStdString();
        const QColor seen = image.pixelColor(image.rect().center());
        EXPECT_NEAR(seen.red(), row.middle.red(), 12) << QString::fromUtf16(row.name).toStdString();
        EXPECT_NEAR(seen.green(), row.middle.green(), 12);
        EXPECT_NEAR(seen.blue(), row.middle.blue(), 12);
    }
}

TEST_F(ThumbnailerTest, PhotoStandsUpright)
{
    QImage photo = filled({1200, 600}, Qt::white);
    for (int y = 0; y < 600; ++y) {
        for (int x = 0; x < 600; ++x)
            photo.setPixelColor(x, y, Qt::red);
    }
    const QImage image = thumbnail(home.write(u"photo.jpg"_s, turnedJPEG(encoded(photo, "JPEG"))));
    ASSERT_EQ(image.size(), QSize(256, 512));
    EXPECT_LT(image.pixelColor(128, 20).green(), 40) << "left has become top";
    EXPECT_GT(image.pixelColor(128, 490).green(), 215);
}

TEST_F(ThumbnailerTest, HostileFilesGiveNothing)
{
    const QByteArray png = encoded(filled({50, 50}, Qt::blue), "PNG");
    // A path that crosses itself on every line: half a minute of work.
    QByteArray endless = "<svg xmlns='http://www.w3.org/2000/svg' width='900' height='900'><path d='M0 0";
    for (int i = 0; i < 20000; ++i)
        endless += 'L' + QByteArray::number(i * 7 % 900) + " 900L" + QByteArray::number(i * 13 % 900) + " 0";
    endless += "'/></svg>";
    ASSERT_EQ(::mkfifo(home.path(u"pipe.png"_s).toUtf8().constData(), 0600), 0);
    const QString paths[] = {home.write(u"garbage.png"_s, "\x89PNG not at all"),
                             home.write(u"empty.jpg"_s, {}),
                             home.write(u"bomb.png"_s, pngBomb(png, 60000)),
                             home.write(u"huge.png"_s, pngBomb(png, 0x7fffffff)),
                             home.path(u"pipe.png"_s),
                             home.path(u"missing.png"_s),
                             u"/dev/zero"_s};
    for (const QString &path : paths)
        EXPECT_TRUE(thumbnail(path).isNull()) << path.toStdString();
    const auto spinning = run({u"image"_s, u"1"_s, u"1024"_s, home.write(u"endless.svg"_s, endless)});
    EXPECT_EQ(spinning.kind, ProcessResult::Kind::Crashed) << "its processor time is over first";
    const QString large = home.write(u"large.png"_s, encoded(filled({3000, 3000}, Qt::blue), "PNG"));
    EXPECT_FALSE(thumbnail(large).isNull());
#if !__has_feature(address_sanitizer) // which needs more address space than any limit leaves
    EXPECT_FALSE(run({u"image"_s, u"10"_s, u"60"_s, large}).succeeded()) << "too little memory for it";
#endif
}

TEST_F(ThumbnailerTest, VideoGivesTheFrameAtOneSecond)
{
    QByteArray video = "YUV4MPEG2 W800 H400 F10:1 Ip A1:1 C420jpeg\n";
    for (int frame = 0; frame < 20; ++frame)
        video += "FRAME\n" + QByteArray(800 * 400, frame < 10 ? char(0) : char(255)) +
                 QByteArray(800 * 200, char(128));
    const bool canDecode = !QStandardPaths::findExecutable(u"ffmpegthumbnailer"_s).isEmpty();
    const QImage image = thumbnail(home.write(u"demo.mp4"_s, video), u"video"_s);
    // Where no decoder is installed, a video simply has no thumbnail.
    EXPECT_EQ(image.size(), canDecode ? QSize(512, 256) : QSize());
    EXPECT_EQ(canDecode && image.pixelColor(100, 100).lightness() > 230, canDecode);
    EXPECT_TRUE(thumbnail(home.write(u"broken.mp4"_s, "no video"), u"video"_s).isNull());
}

TEST_F(ThumbnailerTest, WrongUseIsTold)
{
    const QString path = home.write(u"a.png"_s, {});
    for (const QStringList &arguments : {QStringList{},
                                         {u"image"_s, u"1"_s, u"1"_s},
                                         {u"text"_s, u"1"_s, u"1"_s, path},
                                         {u"image"_s, u"0"_s, u"1"_s, path},
                                         {u"image"_s, u"1"_s, u"much"_s, path}})
        EXPECT_EQ(run(arguments).exitCode, 2);
}

TEST_F(ThumbnailerTest, ProcessorKeepsWhatItPrints)
{
    Asset asset;
    asset.path = home.write(u"shot.png"_s, encoded(filled({1024, 1024}, Qt::red), "PNG"));
    asset.kind = AssetKind::Image;
    const Asset done =
        await(AssetProcessor::process(asset, home.path(u"out"_s), 1 << 20, {&processes, program}));
    EXPECT_EQ(QImage(done.thumbnailPath.value_or(QString())).size(), QSize(512, 512));
    const Asset plain = await(AssetProcessor::process(asset, home.path(u"out"_s), 0, {&processes, {}}));
    EXPECT_FALSE(plain.copied || plain.thumbnailPath);
}

} // namespace
} // namespace Keelhaven
