#include "UI/SettingsView.h"

#include "App/AppModel.h"
#include "App/AppSelection.h"
#include "Contract/SettingsSheet.h"
#include "Platform/Files.h"
#include "Platform/KeychainStore.h"
#include "Surfaces/SettingsSecrets.h"
#include "UI/EngineObjects.h"
#include "UI/ShownText.h"

#include <QUrl>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QString controlName(SettingControl control)
{
    switch (control) {
    case SettingControl::Switch:
        return u"switch"_s;
    case SettingControl::Stepper:
        return u"stepper"_s;
    case SettingControl::TextField:
        return u"text"_s;
    case SettingControl::FolderChooser:
        return u"folder"_s;
    case SettingControl::FileChooser:
        return u"file"_s;
    case SettingControl::Choice:
        return u"choice"_s;
    case SettingControl::ModelChooser:
        break;
    }
    return u"model"_s;
}

QVariantMap rowMap(const SettingsSheetRow &row)
{
    QVariantMap map{{u"key"_s, row.key.toString()},
                    {u"control"_s, controlName(row.control)},
                    {u"label"_s, row.label.toString()},
                    {u"caption"_s, row.caption.toString()},
                    {u"placeholder"_s, row.placeholder.toString()},
                    {u"help"_s, row.help.toString()},
                    {u"onlyWith"_s, row.onlyWith.toString()}};
    if (const auto range = row.range()) {
        map[u"least"_s] = range->least;
        map[u"most"_s] = range->most;
        map[u"step"_s] = range->step;
    }
    QStringList choices;
    if (const SettingSpec *spec = SettingsCatalog::find(row.key)) {
        for (const QStringView choice : spec->choices)
            choices.append(choice.toString());
    }
    map[u"choices"_s] = choices;
    return map;
}

const SettingsSheetRow *rowOf(const QString &key)
{
    for (const SettingsPage page : SettingsSheet::pages()) {
        for (const SettingsSheetRow &row : SettingsSheet::rows(page)) {
            if (row.key == key)
                return &row;
        }
    }
    return nullptr;
}

} // namespace

SettingsView::SettingsView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    connect(&model.selection(), &AppSelection::settingsPageChanged, this, &SettingsView::pageChanged);
    connect(&model, &AppModel::settingWritten, this, [this](const QString &key) {
        ++m_revision;
        Q_EMIT valuesChanged();
        if (key != Setting::secretStore.name)
            return;
        // They are in another place now; the next look shows what is there.
        m_secrets.clear();
        Q_EMIT secretsChanged();
    });
}

SettingsView *SettingsView::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<SettingsView>(engine);
}

QString SettingsView::page() const
{
    return m_model.selection().settingsPageName();
}

void SettingsView::setPage(const QString &id)
{
    for (const SettingsPage page : SettingsSheet::pages()) {
        if (settingsPageID(page) == id)
            m_model.selection().setSettingsPage(page);
    }
}

QVariantList SettingsView::pages() const
{
    QVariantList list;
    for (const SettingsPage page : SettingsSheet::pages()) {
        const SettingsPageCaption words = Keelhaven::caption(page);
        list.append(QVariantMap{{u"id"_s, settingsPageID(page)},
                                {u"title"_s, words.title.toString()},
                                {u"subtitle"_s, words.subtitle.toString()}});
    }
    return list;
}

QVariantList SettingsView::sections(const QString &page) const
{
    QVariantList list;
    for (const SettingsPage each : SettingsSheet::pages()) {
        if (settingsPageID(each) != page)
            continue;
        QString title;
        QVariantList rows;
        const auto close = [&] {
            if (!rows.isEmpty())
                list.append(QVariantMap{{u"title"_s, title}, {u"rows"_s, rows}});
            rows.clear();
        };
        for (const SettingsSheetRow &row : SettingsSheet::rows(each)) {
            if (row.section != title)
                close();
            title = row.section.toString();
            rows.append(rowMap(row));
        }
        close();
    }
    return list;
}

QVariant SettingsView::value(const QString &key) const
{
    const SettingSpec *spec = SettingsCatalog::find(key);
    const auto value = spec ? SettingsCatalog::effective(m_model.settings(), *spec) : std::nullopt;
    if (!value)
        return QString();
    if (const bool *flag = std::get_if<bool>(&*value))
        return *flag;
    if (const qint64 *number = std::get_if<qint64>(&*value))
        return *number;
    return ShownText::line(SettingsCatalog::valueText(*value), ShownText::paragraphLimit);
}

QString SettingsView::caption(const QString &key) const
{
    const SettingsSheetRow *row = rowOf(key);
    return row ? row->captionFor(value(key).toLongLong()) : QString();
}

bool SettingsView::matters(const QString &onlyWith) const
{
    return onlyWith.isEmpty() || value(onlyWith).toBool();
}

QString SettingsView::set(const QString &key, const QVariant &value)
{
    const SettingSpec *spec = SettingsCatalog::find(key);
    if (!spec || !spec->isUserSet)
        return u"There is no such setting."_s;
    auto &settings = m_model.settings();
    const QString text = value.toString();
    bool isStored = false;
    if (spec->type == SettingType::Text && text.trimmed().isEmpty()) {
        isStored = settings.remove(key);
    } else {
        if (SettingsCatalog::looksLikeSecret(text))
            return u"That looks like a token; it belongs in the field for tokens, which keeps it safely."_s;
        const auto parsed = SettingsCatalog::parse(*spec, text);
        if (!parsed)
            return parsed.error();
        isStored = settings.set(key, *parsed);
    }
    m_model.settingChanged(key);
    return isStored ? QString() : u"%1 cannot be written."_s.arg(m_model.paths().settingsFile());
}

QString SettingsView::setPath(const QString &key, const QString &pathOrURL)
{
    const QUrl url(pathOrURL);
    const QString path = url.isLocalFile() ? url.toLocalFile() : pathOrURL.trimmed();
    if (path.isEmpty())
        return set(key, QString());
    const QString whole = expandTilde(path, m_model.paths().home);
    if (!QDir::isAbsolutePath(whole))
        return u"Give a whole path, from “/” or “~” on."_s;
    return set(key, QDir::cleanPath(whole));
}

QList<AgentModelCatalog::Entry> SettingsView::modelEntries() const
{
    const QString codexHome = AgentModelCatalog::codexHome(m_model.paths().home);
    QList<AgentModelCatalog::Entry> all;
    for (const AgentProvider provider : {AgentProvider::Claude, AgentProvider::Codex}) {
        all.append({provider, {}, AgentModelCatalog::defaultLabel(provider)});
        all.append(AgentModelCatalog::entries(provider, codexHome));
    }
    return all;
}

QVariantList SettingsView::models() const
{
    QVariantList list;
    const auto entries = modelEntries();
    for (const auto &entry : entries)
        list.append(QVariantMap{{u"text"_s, ShownText::line(entry.label)}});
    // A model that was set by hand and that no list knows.
    if (modelIndex() == entries.size()) {
        const auto model = Setting::read(m_model.settings(), Setting::defaultAgentModel);
        list.append(QVariantMap{{u"text"_s, ShownText::line(model.value_or(QString()))}});
    }
    return list;
}

int SettingsView::modelIndex() const
{
    const auto &settings = m_model.settings();
    const QString provider =
        Setting::read(settings, Setting::defaultAgentProvider).value_or(QString()) == u"codex" ? u"codex"_s
                                                                                               : u"claude"_s;
    const QString model = Setting::read(settings, Setting::defaultAgentModel).value_or(QString());
    const auto entries = modelEntries();
    const auto found = std::ranges::find_if(entries, [&](const AgentModelCatalog::Entry &entry) {
        return enumText(entry.provider) == provider && entry.value == model;
    });
    return static_cast<int>(found - entries.begin());
}

void SettingsView::chooseModel(int index)
{
    const auto entries = modelEntries();
    if (index < 0 || index >= entries.size())
        return;
    write(Setting::defaultAgentProvider.name.toString(), enumText(entries[index].provider));
    write(Setting::defaultAgentModel.name.toString(), entries[index].value);
}

void SettingsView::write(const QString &key, const QString &text)
{
    const QString fault = set(key, text);
    if (!fault.isEmpty())
        m_model.setLastMutationError(fault);
}

QVariantList SettingsView::secrets() const
{
    QVariantList list;
    for (const SettingsSecretRow &row : SettingsSecrets::rows()) {
        const Secret secret = m_secrets.value(row.service.toString());
        QString state = u"unknown"_s;
        QStringView text;
        switch (secret.state) {
        case Secret::State::Unknown:
            break;
        case Secret::State::Looking:
            state = u"looking"_s;
            text = SettingsSecrets::looking;
            break;
        case Secret::State::Set:
            state = u"set"_s;
            text = SettingsSecrets::kept;
            break;
        case Secret::State::Missing:
            state = u"missing"_s;
            text = SettingsSecrets::missing;
            break;
        }
        list.append(QVariantMap{{u"section"_s, row.section.toString()},
                                {u"service"_s, row.service.toString()},
                                {u"label"_s, row.label.toString()},
                                {u"placeholder"_s, row.placeholder.toString()},
                                {u"state"_s, state},
                                {u"text"_s, text.toString()},
                                {u"fault"_s, secret.fault}});
    }
    return list;
}

void SettingsView::show(const QString &service, Secret::State state, const QString &fault)
{
    m_secrets[service] = {state, ShownText::line(fault)};
    Q_EMIT secretsChanged();
}

void SettingsView::lookAtSecrets()
{
    for (const SettingsSecretRow &row : SettingsSecrets::rows()) {
        const QString service = row.service.toString();
        if (m_secrets.value(service).state != Secret::State::Unknown)
            continue;
        show(service, Secret::State::Looking);
        m_model.tasks().spawn(look(this, service), "look at secrets");
    }
}

void SettingsView::setSecret(const QString &service, const QString &text)
{
    const auto secret = SettingsSecrets::check(text, KeychainStore::longestSecret);
    if (!secret) {
        show(service, m_secrets.value(service).state, secret.error());
        return;
    }
    show(service, Secret::State::Looking);
    m_model.tasks().spawn(keep(this, service, *secret), "keep a secret");
}

void SettingsView::removeSecret(const QString &service)
{
    show(service, Secret::State::Looking);
    m_model.tasks().spawn(drop(this, service), "remove a secret");
}

QCoro::Task<> SettingsView::look(QPointer<SettingsView> self, QString service)
{
    const auto found = co_await self->m_model.keychain().read(service);
    if (!self)
        co_return;
    if (!found)
        self->show(service, Secret::State::Unknown, found.error().message());
    else
        self->show(service, *found ? Secret::State::Set : Secret::State::Missing);
}

QCoro::Task<> SettingsView::keep(QPointer<SettingsView> self, QString service, QString secret)
{
    const auto kept = co_await self->m_model.keychain().set(secret, service);
    if (!self)
        co_return;
    if (kept)
        self->show(service, Secret::State::Set);
    else
        self->show(service, Secret::State::Unknown, kept.error().message());
    self->m_model.settingChanged(service);
}

QCoro::Task<> SettingsView::drop(QPointer<SettingsView> self, QString service)
{
    const auto dropped = co_await self->m_model.keychain().delete_(service);
    if (!self)
        co_return;
    if (dropped)
        self->show(service, Secret::State::Missing);
    else
        self->show(service, Secret::State::Unknown, dropped.error().message());
    self->m_model.settingChanged(service);
}

} // namespace Keelhaven
