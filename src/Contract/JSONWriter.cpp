#include "Contract/JSONWriter.h"

#include "Contract/JSONScan.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Keelhaven {

namespace {

char *putEscape(char *out, unsigned char byte)
{
    constexpr char hex[] = "0123456789abcdef";
    *out++ = '\\';
    switch (byte) {
    case '\n':
        *out++ = 'n';
        return out;
    case '\r':
        *out++ = 'r';
        return out;
    case '\t':
        *out++ = 't';
        return out;
    case '"':
    case '\\':
        *out++ = static_cast<char>(byte);
        return out;
    default:
        for (const char c : {'u', '0', '0', hex[byte >> 4], hex[byte & 0xf]})
            *out++ = c;
        return out;
    }
}

} // namespace

QString JSONValue::serialized() const
{
    return QString::fromUtf8(encoded());
}

QByteArray JSONValue::encoded() const
{
    return JSONWriter(JSONWriter::Style::OneLine).write(*this);
}

QByteArray JSONValue::encodedPretty() const
{
    return JSONWriter(JSONWriter::Style::Pretty).write(*this);
}

QByteArray JSONWriter::write(const JSONValue &value)
{
    writeValue(value);
    writeChildren();
    if (!m_at)
        return m_out;
    m_out.truncate(m_at - m_out.constData());
    m_out.squeeze();
    return std::move(m_out);
}

void JSONWriter::grow(size_t bytes)
{
    const qsizetype used = m_at ? m_at - m_out.constData() : 0;
    m_out.resize(std::max<qsizetype>(256, 2 * used + static_cast<qsizetype>(bytes)));
    m_at = m_out.data() + used;
    m_end = m_out.data() + m_out.size();
}

/// Walks the open containers with a stack of its own: values nest deeper than the program's stack allows.
void JSONWriter::writeChildren()
{
    while (!m_open.empty()) {
        Open &top = m_open.back();
        if (top.next == top.size) {
            const char bracket = top.slots ? '}' : ']';
            m_open.pop_back();
            lineBreak();
            put({&bracket, 1});
            continue;
        }
        const size_t position = top.next++;
        if (position > 0)
            put(m_style == Style::Pretty ? "," : ", ");
        const auto *elements = top.elements;
        const auto *slot =
            top.slots ? top.slots + (top.order.empty() ? position : top.order[position]) : nullptr;
        lineBreak();
        if (slot) {
            writeString(slot->key);
            put(": ");
        }
        writeValue(slot ? slot->value : elements[position]);
    }
}

void JSONWriter::lineBreak()
{
    if (m_style != Style::Pretty)
        return;
    const size_t blanks = 2 * m_open.size();
    char *at = room(blanks + 1);
    *at = '\n';
    std::memset(at + 1, ' ', blanks);
    m_at += blanks + 1;
}

void JSONWriter::open(Open container, char bracket)
{
    put({&bracket, 1});
    if (m_style == Style::Pretty && container.slots) {
        container.order.resize(container.size);
        for (quint32 i = 0; i < container.size; ++i)
            container.order[i] = i;
        // The order of UTF-8 bytes is the order of code points.
        std::sort(container.order.begin(), container.order.end(),
                  [slots = container.slots](quint32 a, quint32 b) {
                      return JSONStorage::text(slots[a].key) < JSONStorage::text(slots[b].key);
                  });
    }
    m_open.push_back(std::move(container));
}

void JSONWriter::writeValue(const JSONValue &value)
{
    using Tag = JSONStorage::Tag;
    switch (JSONStorage::tag(value)) {
    case Tag::Null:
        return put("null");
    case Tag::False:
        return put("false");
    case Tag::True:
        return put("true");
    case Tag::Int:
        return writeInt(JSONStorage::payload<qint64>(value));
    case Tag::Double:
        return writeDouble(JSONStorage::payload<double>(value));
    case Tag::ShortText:
    case Tag::LongText:
        return writeString(value);
    case Tag::Array: {
        const JSONArray &array = *value.arrayValue();
        if (array.empty())
            return put("[]");
        return open({.elements = array.data(), .size = array.size()}, '[');
    }
    case Tag::Object: {
        const JSONObject &object = *value.objectValue();
        const size_t size = JSONStorage::size(object);
        if (size == 0)
            return put("{}");
        return open({.slots = JSONStorage::slots(object), .size = size}, '{');
    }
    }
}

void JSONWriter::writeString(const JSONValue &value)
{
    constexpr size_t pieceSize = 4096;
    auto text = JSONStorage::text(value);
    put("\"");
    for (; text.size() > pieceSize; text.remove_prefix(pieceSize))
        writePiece(text.substr(0, pieceSize));
    writePiece(text);
    put("\"");
}

/// Copies eight bytes at a time as long as none needs an escape, into space for the worst case.
void JSONWriter::writePiece(std::string_view piece)
{
    constexpr size_t longestEscape = 6;
    char *out = room(longestEscape * piece.size() + sizeof(std::uint64_t));
    const char *at = piece.data();
    const char *end = at + piece.size();
    while (at < end) {
        if (end - at >= 8) {
            const auto word = JSONScan::load(at);
            std::memcpy(out, &word, sizeof word);
            const auto marks = JSONScan::escapeMarks(word);
            const int plain = marks ? JSONScan::firstByte(marks) : 8;
            at += plain;
            out += plain;
            if (!marks)
                continue;
        }
        const auto byte = static_cast<unsigned char>(*at++);
        if (byte >= 0x20 && byte != '"' && byte != '\\')
            *out++ = static_cast<char>(byte);
        else
            out = putEscape(out, byte);
    }
    m_at = out;
}

void JSONWriter::writeInt(qint64 number)
{
    constexpr size_t longest = 20;
    char *at = room(longest);
    m_at = std::to_chars(at, at + longest, number).ptr;
}

void JSONWriter::writeDouble(double number)
{
    if (!std::isfinite(number))
        return put("null");
    constexpr size_t longest = 32;
    char *at = room(longest);
    char *end = at + longest;
    if (std::trunc(number) == number && std::abs(number) < 1e15) {
        // ".0" keeps it a double on the next read.
        if (std::signbit(number))
            *at++ = '-';
        at = std::to_chars(at, end, static_cast<qint64>(std::abs(number))).ptr;
        *at++ = '.';
        *at++ = '0';
        m_at = at;
        return;
    }
    m_at = std::to_chars(at, end, number).ptr;
    // The shortest form of a big whole number may be bare digits, which would be read back as an integer.
    if (std::all_of(at, m_at, [](char c) { return c == '-' || (c >= '0' && c <= '9'); }))
        m_at = std::to_chars(at, end, number, std::chars_format::scientific).ptr;
}

} // namespace Keelhaven
