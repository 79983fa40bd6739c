#include "Scheduler/Prompt/PromptField.h"

#include "Platform/Tasks.h"

#include <QPointer>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Lets a burst of typing pass.
constexpr Span recomputeDelay = 120ms;

QString lastComponent(const QString &folder)
{
    const auto parts = folder.split(u'/', Qt::SkipEmptyParts);
    return parts.isEmpty() ? folder : parts.last();
}

} // namespace

PromptField::PromptField(const KeelhavenPaths &paths, Clock &clock, Tasks &tasks)
    : m_model(paths)
    , m_clock(clock)
    , m_tasks(tasks)
{
    connect(&m_model, &PromptCompletionModel::changed, this, [this] {
        updateNotices();
        // A list that is on the screen gets what was found, and so does somebody who typed before anything
        // was; a text that nobody edits gets none.
        if ((isOpen() || m_isEdited) && !m_pending)
            recompute();
    });
}

void PromptField::setSurroundings(const QStringList &cwds, const PluginInventory &inventory)
{
    m_cwds = cwds;
    m_tasks.spawn(m_model.rescan(cwds, inventory), "PromptField::rescan");
    updateNotices();
}

void PromptField::setPickedPlugins(const QStringList &pluginIDs)
{
    m_pickedPlugins = pluginIDs;
    updateNotices();
}

void PromptField::serviceChanged()
{
    updateNotices();
}

void PromptField::load(const QString &text)
{
    m_text = text;
    m_caret = text.size();
    m_isEdited = false;
    m_pending.reset();
    ++m_ticket;
    show({}, std::nullopt);
    updateNotices();
}

void PromptField::edited(const QString &text, qsizetype caret)
{
    m_text = text;
    m_caret = caret;
    m_isOpen = true;
    m_isEdited = true;
    scheduleRecompute();
}

void PromptField::caretMoved(qsizetype caret)
{
    if (caret == m_caret)
        return;
    m_caret = caret;
    scheduleRecompute();
}

void PromptField::scheduleRecompute()
{
    ++m_ticket;
    m_pending = m_clock.after(recomputeDelay, [this] {
        auto *self = this; // the timer owns this function
        self->m_pending.reset();
        self->recompute();
    });
}

void PromptField::recompute()
{
    const quint64 ticket = ++m_ticket;
    updateNotices();
    const auto token = PromptTokenizer::activeToken(m_text, m_caret);
    if (!token || !m_isOpen)
        return show({}, std::nullopt);
    if (token->kind == PromptToken::Kind::SlashCommand)
        return show(m_model.commandSuggestions(token->partial), token);
    m_wantedPath = {*token, ticket};
    if (!m_isListing)
        m_tasks.spawn(findPaths(), "PromptField::findPaths");
}

QCoro::Task<> PromptField::findPaths()
{
    const QPointer<PromptField> self(this);
    m_isListing = true;
    while (m_wantedPath) {
        const auto [token, ticket] = *std::exchange(m_wantedPath, std::nullopt);
        if (ticket != m_ticket)
            continue;
        auto found = co_await m_model.pathSuggestions(token.partial, m_cwds.value(0));
        if (!self)
            co_return;
        if (ticket == m_ticket && m_isOpen)
            show(std::move(found), token);
        if (!self)
            co_return;
    }
    m_isListing = false;
}

void PromptField::show(QList<PromptSuggestion> suggestions, const std::optional<PromptToken> &token)
{
    if (suggestions != m_suggestions)
        m_selection = 0;
    else if (token == m_suggestedFor)
        return;
    m_suggestions = std::move(suggestions);
    m_suggestedFor = token;
    Q_EMIT suggestionsChanged();
}

bool PromptField::moveSelection(int by)
{
    if (!isOpen())
        return false;
    m_selection = std::clamp<qsizetype>(m_selection + by, 0, m_suggestions.size() - 1);
    Q_EMIT suggestionsChanged();
    return true;
}

std::optional<PromptEdit> PromptField::accept(std::optional<qsizetype> row)
{
    const qsizetype index = row.value_or(m_selection);
    const auto token = PromptTokenizer::activeToken(m_text, m_caret);
    if (!isOpen() || index < 0 || index >= m_suggestions.size() || !token)
        return std::nullopt;
    const PromptSuggestion chosen = m_suggestions.at(index);
    // The list may be for what stood here before the last keystrokes.
    if (token != m_suggestedFor && !stillCompletes(chosen, *token))
        return std::nullopt;
    const PromptEdit edit{token->start, token->length, chosen.insertion};
    if (chosen.insertion == QStringView(m_text).sliced(token->start, token->length)) {
        // Nothing is left to complete; taking the key again and again would keep it from the field for ever.
        dismiss();
        return std::nullopt;
    }
    ++m_ticket;
    m_selection = 0;
    show({}, std::nullopt);
    return edit;
}

/// Whether a suggestion for an earlier state of the token is one for the token as it stands now.
bool PromptField::stillCompletes(const PromptSuggestion &suggestion, const PromptToken &token) const
{
    if (!m_suggestedFor || token.kind != m_suggestedFor->kind || token.start != m_suggestedFor->start)
        return false;
    if (token.kind == PromptToken::Kind::SlashCommand)
        return m_model.commandSuggestions(token.partial).contains(suggestion);
    const qsizetype folder = token.partial.lastIndexOf(u'/') + 1;
    return suggestion.insertion.startsWith(QStringView(token.partial).first(folder)) &&
           suggestion.insertion.startsWith(token.partial, Qt::CaseInsensitive);
}

bool PromptField::dismiss()
{
    if (!isOpen())
        return false;
    m_isOpen = false;
    show({}, std::nullopt);
    return true;
}

void PromptField::updateNotices()
{
    QList<PromptNotice> notices;
    for (const auto &issue : m_model.enablementIssues(m_text, m_cwds, m_pickedPlugins))
        notices.append(noticeOf(issue));
    if (const auto name = m_model.unknownLeadingCommand(m_text)) {
        PromptNotice notice;
        notice.text = u"no command named /%1 found — it will be sent as typed"_s.arg(*name);
        notices.append(notice);
    }
    if (notices == m_notices)
        return;
    m_notices = std::move(notices);
    Q_EMIT noticesChanged();
}

PromptNotice PromptField::noticeOf(const EnablementIssue &issue) const
{
    const QString folder = lastComponent(issue.folder);
    const bool isLive = canMutate && canMutate();
    PromptNotice notice;
    notice.text =
        u"⚠ /%1 comes from %2, which isn't enabled in %3"_s.arg(issue.command, issue.pluginName, folder);
    notice.issue = issue;
    notice.offersAdd = bool(onAddPlugin);
    notice.enableLabel = u"Enable in %1"_s.arg(folder);
    notice.canEnable = isLive && enableInFolder && !m_underWay.contains(issue.id());
    if (!isLive)
        notice.enableHelp = u"Start the service (or the web dashboard) to enable it here."_s;
    notice.help =
        u"Enabling in a folder edits its .claude settings and needs the service; adding it to the agent doesn't."_s;
    return notice;
}

void PromptField::addToAgent(const EnablementIssue &issue)
{
    if (onAddPlugin)
        onAddPlugin(issue.pluginID);
}

void PromptField::enable(const EnablementIssue &issue)
{
    if (!canMutate || !canMutate() || !enableInFolder || m_underWay.contains(issue.id()))
        return;
    m_underWay.insert(issue.id());
    updateNotices();
    m_tasks.spawn(runEnable(issue), "PromptField::enable");
}

QCoro::Task<> PromptField::runEnable(EnablementIssue issue)
{
    const QPointer<PromptField> self(this);
    co_await enableInFolder(issue.pluginID, issue.folder);
    if (!self)
        co_return;
    co_await m_model.refreshEnablement(m_cwds);
    if (!self)
        co_return;
    m_underWay.remove(issue.id());
    updateNotices();
}

} // namespace Keelhaven
