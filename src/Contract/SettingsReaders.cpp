#include "Contract/SettingsCatalog.h"
#include "Platform/Files.h"
#include "Platform/Uuid.h"

#include <cmath>
#include <limits>

namespace Keelhaven::Setting {

using namespace Qt::StringLiterals;

namespace {

bool isBlank(QChar character)
{
    return character == u'\t' || character.category() == QChar::Separator_Space;
}

/// A path may end in a line end, strange as that is; only blanks are slips of the hand.
QString withoutBlanks(const QString &text)
{
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && isBlank(text[from]))
        ++from;
    while (to > from && isBlank(text[to - 1]))
        --to;
    return text.mid(from, to - from);
}

std::optional<QString> filled(const QString &text)
{
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

} // namespace

bool read(const SettingsStore &settings, const SettingKey<bool> &key)
{
    return settings.flagOr(key.name.toString(), key.fallback);
}

qint64 read(const SettingsStore &settings, const SettingKey<qint64> &key)
{
    return settings.integerOr(key.name.toString(), key.fallback);
}

OptionalInteger read(const SettingsStore &settings, const SettingKey<OptionalInteger> &key)
{
    const auto stored = settings.value(key.name.toString());
    const qint64 *number = stored ? std::get_if<qint64>(&*stored) : nullptr;
    return number ? std::optional(*number) : key.fallback;
}

OptionalReal read(const SettingsStore &settings, const SettingKey<OptionalReal> &key)
{
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    const double number = settings.realOr(key.name.toString(), none);
    return std::isnan(number) ? key.fallback : std::optional(number);
}

OptionalDate read(const SettingsStore &settings, const SettingKey<OptionalDate> &key)
{
    const auto date = settings.date(key.name.toString());
    return date ? date : key.fallback;
}

std::optional<QString> read(const SettingsStore &settings, const SettingKey<QStringView> &key)
{
    const QString text = settings.text(key.name.toString()).trimmed();
    return filled(text.isEmpty() ? key.fallback.toString() : text);
}

std::optional<QString> runDirectory(const SettingsStore &settings, const QString &home)
{
    const auto path = filled(withoutBlanks(settings.text(keelhavenRunDirectory.name.toString())));
    return path ? std::optional(expandTilde(*path, home)) : std::nullopt;
}

std::optional<QString> pluginRoot(const SettingsStore &settings, const QString &home)
{
    const auto path = read(settings, pluginRootOverride);
    return path ? std::optional(expandTilde(*path, home)) : std::nullopt;
}

std::optional<qint64> dispatcherChat(const SettingsStore &settings)
{
    const auto text = read(settings, dispatcherChatID);
    bool isNumber = false;
    const qint64 chat = text ? text->toLongLong(&isNumber) : 0;
    return isNumber ? std::optional(chat) : std::nullopt;
}

std::optional<QUuid> shipID(const SettingsStore &settings, const SettingKey<QStringView> &key)
{
    const auto text = read(settings, key);
    return text ? uuidFromText(*text) : std::nullopt;
}

} // namespace Keelhaven::Setting
