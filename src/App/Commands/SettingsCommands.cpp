#include "App/Commands/SettingsCommands.h"

#include "App/Commands/AgentOptions.h"
#include "App/Commands/PlainLines.h"
#include "App/Commands/TextTable.h"
#include "Contract/SettingsCatalog.h"
#include "Platform/Files.h"

namespace Keelhaven::SettingsCommands {

using namespace Qt::StringLiterals;

namespace {

/// The settings are a file that anybody's backup holds.
CommandReply secretRefused()
{
    return CommandReply::refused(
        u"The settings hold no secrets; \"keelhaven secret set SERVICE\" keeps them safely."_s);
}

Result<const SettingSpec *, CommandReply> find(const QString &key)
{
    if (const SettingSpec *spec = SettingsCatalog::find(key))
        return spec;
    if (SettingsCatalog::namesSecret(key))
        return failure(secretRefused());
    return failure(CommandReply::refused(
        u"There is no setting \"%1\"; \"keelhaven settings --help\" tells them all."_s.arg(oneLine(key))));
}

JSONValue valueJSON(const std::optional<SettingValue> &value)
{
    struct Writer
    {
        JSONValue operator()(bool flag) const { return flag; }
        JSONValue operator()(qint64 number) const { return number; }
        JSONValue operator()(double number) const { return number; }
        JSONValue operator()(const QString &text) const { return text; }
        JSONValue operator()(Date date) const { return isoText(date); }
    };
    return value ? std::visit(Writer{}, *value) : JSONValue();
}

JSONValue settingJSON(const SettingSpec &spec, const SettingsStore &settings)
{
    JSONObject json{{u"key"_s, spec.key},
                    {u"type"_s, settingTypeText(spec.type)},
                    {u"value"_s, valueJSON(SettingsCatalog::effective(settings, spec))},
                    {u"default"_s, valueJSON(spec.fallback)},
                    {u"isSet"_s, settings.value(spec.key.toString()).has_value()},
                    {u"isUserSet"_s, spec.isUserSet},
                    {u"range"_s, SettingsCatalog::rangeText(spec)},
                    {u"label"_s, spec.label},
                    {u"effect"_s, spec.effect}};
    if (spec.page)
        json.set(u"page"_s, settingsPageID(*spec.page));
    if (spec.screen && spec.screen->most > 0)
        json.set(u"screen"_s, JSONObject{{u"least"_s, spec.screen->least},
                                         {u"most"_s, spec.screen->most},
                                         {u"step"_s, spec.screen->step}});
    return json;
}

QString effectiveText(const SettingSpec &spec, const SettingsStore &settings)
{
    const auto value = SettingsCatalog::effective(settings, spec);
    return value ? SettingsCatalog::valueText(*value) : QString();
}

/// Whether the value was stored, or is what readers take instead.
QString originText(const SettingSpec &spec, const SettingsStore &settings)
{
    const auto stored = settings.value(spec.key.toString());
    if (!stored)
        return u"default"_s;
    return SettingsCatalog::effective(settings, spec) == stored
               ? u"set"_s
               : u"default; the stored value means nothing"_s;
}

CommandReply changed(const SettingSpec &spec, const Arguments &arguments, const LocalContext &context)
{
    if (context.settingChanged)
        context.settingChanged(spec.key.toString());
    if (arguments.wantsJSON())
        return CommandReply::json(settingJSON(spec, context.settings), context.caller);
    const QString value = effectiveText(spec, context.settings);
    return CommandReply::done(value.isEmpty() ? u"%1 is not set."_s.arg(spec.key)
                                              : u"%1 is %2."_s.arg(spec.key, oneLine(value)));
}

CommandReply notWritten(const LocalContext &context)
{
    return CommandReply::refused(u"%1 cannot be written."_s.arg(context.paths.settingsFile()));
}

/// A path is stored whole, because those who read it stand in another folder.
Result<QString, QString> wholePath(const SettingSpec &spec, const QString &text, const LocalContext &context)
{
    if (spec.form != SettingForm::Path || text.trimmed().isEmpty())
        return text;
    const auto path = AgentOptions::absolutePath(text.trimmed(), context.caller.workingDirectory);
    return path ? Result<QString, QString>(expandTilde(*path, context.paths.home)) : path;
}

QString rangeLine(const SettingSpec &spec)
{
    QString line = u"%1: %2"_s.arg(settingTypeText(spec.type), SettingsCatalog::rangeText(spec));
    if (spec.screen && spec.screen->most > 0)
        line += u"; screens offer %1 to %2, step %3"_s.arg(spec.screen->least)
                    .arg(spec.screen->most)
                    .arg(spec.screen->step);
    const QString fallback = spec.fallback ? SettingsCatalog::valueText(*spec.fallback) : u"not set"_s;
    return line + u"; default "_s + fallback;
}

/// A caption of a screen's stepper, which has its number in the middle and may follow another, as a text of
/// its own.
QString spoken(QStringView text)
{
    QString spoken = text.toString().replace(u"{n}"_s, u"N"_s);
    return spoken.startsWith(u"· ") ? spoken.sliced(2) : spoken;
}

QString entryText(const SettingSpec &spec)
{
    QString text = u"  %1\n      %2\n"_s.arg(spec.key, rangeLine(spec));
    QStringList meaning;
    for (const QStringView part : {spec.label, spec.effect}) {
        if (!part.isEmpty())
            meaning.append(spoken(part));
    }
    return text + u"      %1\n"_s.arg(meaning.join(u": "_s));
}

} // namespace

CommandReply list(const Arguments &arguments, const LocalContext &context)
{
    const bool all = arguments.isSet(u"all");
    JSONArray json;
    TextTable table({u"KEY"_s, u"VALUE"_s, u"ORIGIN"_s});
    for (const auto &spec : SettingsCatalog::all()) {
        if (!spec.isUserSet && !all)
            continue;
        json.push_back(settingJSON(spec, context.settings));
        table.addRow(
            {spec.key.toString(), effectiveText(spec, context.settings), originText(spec, context.settings)});
    }
    if (arguments.wantsJSON())
        return CommandReply::json(json, context.caller);
    return {.output = table.text(context.caller.columns)};
}

CommandReply get(const Arguments &arguments, const LocalContext &context)
{
    const auto spec = find(arguments.operand());
    if (!spec)
        return spec.error();
    if (arguments.wantsJSON())
        return CommandReply::json(settingJSON(**spec, context.settings), context.caller);
    const QString text = effectiveText(**spec, context.settings);
    if (context.caller.isTerminal() && !text.isEmpty())
        return {.output = plainLines(text)};
    return CommandReply::done(text);
}

CommandReply set(const Arguments &arguments, const LocalContext &context)
{
    const auto spec = find(arguments.operand());
    if (!spec)
        return spec.error();
    const QString text = arguments.secondOperand().value_or(QString());
    if (SettingsCatalog::looksLikeSecret(text))
        return secretRefused();
    const auto whole = wholePath(**spec, text, context);
    if (!whole)
        return CommandReply::refused(whole.error());
    const auto value = SettingsCatalog::parse(**spec, *whole);
    if (!value)
        return CommandReply::refused(value.error());
    if (!context.settings.set(arguments.operand(), *value))
        return notWritten(context);
    return changed(**spec, arguments, context);
}

CommandReply unset(const Arguments &arguments, const LocalContext &context)
{
    const auto spec = find(arguments.operand());
    if (!spec)
        return spec.error();
    if (!context.settings.remove(arguments.operand()))
        return notWritten(context);
    return changed(**spec, arguments, context);
}

QString catalogueText()
{
    QString user;
    QString program;
    for (const auto &spec : SettingsCatalog::all())
        (spec.isUserSet ? user : program) += entryText(spec);
    return u"Settings:\n"_s + user + u"\nKept by Keelhaven itself, listed with --all:\n"_s + program;
}

} // namespace Keelhaven::SettingsCommands
