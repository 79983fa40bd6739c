#include "SessionHost/Terminals.h"

#include "SessionHost/ScreenText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

QCoro::Task<HostResult<Herdr::PaneRead>> Terminals::read(Herdr::PaneReadParams params)
{
    if (params.format != u"text")
        co_return failure(HerdrFailure{u"invalid_request"_s, u"the only format is \"text\""_s});
    if (params.source != u"recent" && params.source != u"visible")
        co_return failure(HerdrFailure{u"invalid_request"_s, u"source is \"recent\" or \"visible\""_s});
    if (params.lines && *params.lines < 0)
        co_return failure(HerdrFailure{u"invalid_request"_s, u"lines must not be negative"_s});
    const auto row = co_await pane(params.paneId);
    if (!row)
        co_return failure(row.error());
    const bool withHistory = params.source == u"recent";
    const QByteArrayList askHistory{"display-message"_ba, "-p"_ba, "-t"_ba, row->pane, "-F"_ba,
                                    "#{history_size}"_ba};
    const auto history = co_await m_tmux.run(askHistory);
    const int historySize = withHistory && history ? history->trimmed().toInt() : 0;
    // A screen full of blank lines below the text must not cost lines above it, so the screen's height comes
    // on top.
    int above = params.lines ? std::min(*params.lines, historySize) : historySize;
    Herdr::PaneRead result;
    while (true) {
        QByteArrayList capture{"capture-pane"_ba,
                               "-p"_ba,
                               "-J"_ba,
                               "-t"_ba,
                               row->pane,
                               "-S"_ba,
                               above > 0 ? '-' + QByteArray::number(above) : "0"_ba};
        if (!params.stripAnsi)
            capture << "-e"_ba;
        const auto output = co_await m_tmux.run(capture);
        if (!output)
            co_return failure(targetError(output.error(), IDKind::Pane, params.paneId));
        const bool hasMore = above < historySize;
        result.read = screenPayload(*output, params.lines, hasMore);
        // Joined lines are fewer than screen lines: with long ones the capture may fall short.
        const auto count = result.read.text.isEmpty() ? 0 : result.read.text.count(u'\n') + 1;
        if (!hasMore || count >= params.lines.value_or(0))
            break;
        above = std::min(historySize, above * 4 + 50);
    }
    co_return result;
}

} // namespace Keelhaven
