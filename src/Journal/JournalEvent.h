#pragma once

#include "Contract/JSONValue.h"
#include "Contract/RecordMapper.h"
#include "Platform/Moments.h"

namespace Keelhaven {

/// One line of a run's journal: what its agent reports, delivers or asks while it works.
struct JournalEvent
{
    enum class Kind { Asset, Progress, Question, Summary, Note };

    double ts = 0; ///< seconds since 1970
    Kind kind = Kind::Note;
    std::optional<QString> launchRunID; ///< as the agent was told
    JSONObject raw;                     ///< the whole line

    /// Nothing for a blank line, bad JSON, anything but an object, and a missing or unknown type. `now`
    /// stands in for a missing time.
    [[nodiscard]] static std::optional<JournalEvent> fromLine(QByteArrayView line, Date now);

    /// "{ts}-{kind}", to tell events apart on a screen.
    [[nodiscard]] QString id() const;
    [[nodiscard]] Date date() const { return dateFromSeconds(ts); }
    [[nodiscard]] std::optional<QString> text() const;
    [[nodiscard]] std::optional<QString> path() const;
    /// A hint, in the agent's words.
    [[nodiscard]] std::optional<QString> assetKind() const;
    [[nodiscard]] std::optional<QString> caption() const;
    /// `question`, else `text`.
    [[nodiscard]] std::optional<QString> question() const;
    [[nodiscard]] std::optional<QString> questionID() const;
    /// The choices offered with a question; entries that are no text are left out.
    [[nodiscard]] QStringList options() const;

    /// The line shown for it: the text, the question, or the file's name with " — " and the caption.
    [[nodiscard]] QString summaryLine() const;

    bool operator==(const JournalEvent &) const = default;
};

template <>
struct EnumTexts<JournalEvent::Kind>
{
    static constexpr std::array<std::u16string_view, 5> texts{u"asset", u"progress", u"question", u"summary",
                                                              u"note"};
};

} // namespace Keelhaven
