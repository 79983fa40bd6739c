#pragma once

#include "Contract/RecordMapper.h"

#include <QByteArray>

namespace Keelhaven {

/// A method's result as it goes over the wire. A type of its own: a Result of plain QByteArray, which a null
/// pointer converts to, cannot be the value of a coroutine.
class EncodedResult : public QByteArray
{
public:
    template <TableRecord R>
    explicit EncodedResult(const R &record)
        : QByteArray(JSONValue(encodeRecord(record)).encoded())
    {}
};

} // namespace Keelhaven
