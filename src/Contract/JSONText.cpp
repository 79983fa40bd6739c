#include "Contract/JSONStorage.h"

#include "Contract/JSONScan.h"

namespace Keelhaven {

namespace {

/// Length of the well-formed UTF-8 sequence at `at`, or 0.
int sequenceLength(const char *at, const char *end)
{
    const auto byte = [at](int i) { return static_cast<unsigned char>(at[i]); };
    const auto follows = [&](int i) { return end - at > i && (byte(i) & 0xc0) == 0x80; };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return 1;
    if (lead < 0xc2 || !follows(1))
        return 0;
    if (lead < 0xe0)
        return 2;
    if (!follows(2))
        return 0;
    if (lead < 0xf0) {
        const bool tooLong = lead == 0xe0 && byte(1) < 0xa0;
        const bool surrogate = lead == 0xed && byte(1) >= 0xa0;
        return tooLong || surrogate ? 0 : 3;
    }
    const bool tooLong = lead == 0xf0 && byte(1) < 0x90;
    const bool tooBig = lead > 0xf4 || (lead == 0xf4 && byte(1) >= 0x90);
    return !follows(3) || tooLong || tooBig ? 0 : 4;
}

bool isUtf8(std::string_view text)
{
    const char *end = text.data() + text.size();
    for (const char *at = text.data(); at < end;) {
        if (end - at >= 8 && (JSONScan::load(at) & JSONScan::highBits) == 0) {
            at += 8;
            continue;
        }
        const int length = sequenceLength(at, end);
        if (length == 0)
            return false;
        at += length;
    }
    return true;
}

} // namespace

std::optional<QByteArray> repairedUtf8(std::string_view text)
{
    if (isUtf8(text))
        return std::nullopt;
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())).toUtf8();
}

} // namespace Keelhaven
