#pragma once

#include "Scheduler/Model/RunRecord.h"

namespace Keelhaven {

/// A question that a run asks its human.
struct JournalQuestion
{
    QString id; ///< the agent's own, or eight characters
    QString question;
    QStringList options;
    Date askedAt{};
    bool operator==(const JournalQuestion &) const = default;
};

/// Takes the files that runs deliver.
class JournalAssets
{
public:
    /// How a file arrived; the store keeps it.
    enum class Source { Journal, ResultFile };

    virtual ~JournalAssets() = default;

    /// `path` is free of "~". `kind` is a hint in the agent's words. The same path of the same run counts
    /// once.
    virtual void add(const RunRecord &run, const QString &path, const std::optional<QString> &kind,
                     const std::optional<QString> &caption, Source source) = 0;
};

/// Takes the questions that runs ask, for the run's work item, which it makes when the run has none yet.
class JournalQuestions
{
public:
    virtual ~JournalQuestions() = default;

    /// Called only for a run that has a work item or a ship. False when the question was not kept.
    [[nodiscard]] virtual bool append(const RunRecord &run, const JournalQuestion &question) = 0;
};

} // namespace Keelhaven
