#pragma once

#include "Contract/JSONStorage.h"

namespace Keelhaven {

/// Writes one value as text. Used once.
class JSONWriter
{
public:
    enum class Style { OneLine, Pretty };

    explicit JSONWriter(Style style)
        : m_style(style)
    {}

    [[nodiscard]] QByteArray write(const JSONValue &value);

private:
    /// A container whose children are being written.
    struct Open
    {
        const JSONValue *elements = nullptr;      ///< of an array
        const JSONStorage::Slot *slots = nullptr; ///< of an object
        size_t size = 0;
        size_t next = 0;
        std::vector<quint32> order = {}; ///< of the slots by key, where keys are sorted
    };

    void writeChildren();
    void writeValue(const JSONValue &value);
    void writeString(const JSONValue &value);
    void writePiece(std::string_view piece);
    void writeInt(qint64 number);
    void writeDouble(double number);
    void open(Open container, char bracket);
    void lineBreak();
    /// Space for at least `bytes` more; the caller moves m_at behind what it wrote.
    char *room(size_t bytes)
    {
        if (static_cast<size_t>(m_end - m_at) < bytes)
            grow(bytes);
        return m_at;
    }
    void grow(size_t bytes);
    void put(std::string_view text)
    {
        std::memcpy(room(text.size()), text.data(), text.size());
        m_at += text.size();
    }

    Style m_style;
    std::vector<Open> m_open;
    QByteArray m_out;
    char *m_at = nullptr;
    char *m_end = nullptr;
};

} // namespace Keelhaven
