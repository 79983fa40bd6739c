#include "Contract/JSONParser.h"

#include "Contract/JSONScan.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace Keelhaven {

namespace {

constexpr int deepestNesting = 1000;
constexpr size_t blockSize = 4000; ///< a page with the allocator's overhead
constexpr size_t longestInBlock =
    500; ///< a longer text gets a block of its own, so that little is left unused

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

void appendUtf8(std::string &out, char32_t code)
{
    const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (code < 0x80) {
        put(code);
    } else if (code < 0x800) {
        put(0xc0 | code >> 6);
        put(0x80 | (code & 0x3f));
    } else if (code < 0x10000) {
        put(0xe0 | code >> 12);
        put(0x80 | (code >> 6 & 0x3f));
        put(0x80 | (code & 0x3f));
    } else {
        put(0xf0 | code >> 18);
        put(0x80 | (code >> 12 & 0x3f));
        put(0x80 | (code >> 6 & 0x3f));
        put(0x80 | (code & 0x3f));
    }
}

} // namespace

Result<JSONValue, JSONParseError> JSONValue::parse(QByteArrayView bytes)
{
    return JSONParser({bytes.data(), static_cast<size_t>(bytes.size())}).parse();
}

Result<JSONValue, JSONParseError> JSONValue::parse(QStringView text)
{
    return parse(text.toUtf8());
}

Result<JSONValue, JSONParseError> JSONParser::parse()
{
    JSONValue value;
    if (!parseValue(value))
        return failure(m_error);
    skipWhiteSpace();
    if (m_at != m_end) {
        fail("trailing content", m_at);
        return failure(m_error);
    }
    return value;
}

JSONParser::~JSONParser()
{
    if (m_block)
        JSONTextBlock::release(m_block);
}

bool JSONParser::fail(const char *text, const char *at)
{
    m_error = {QString::fromLatin1(text), at - m_begin};
    return false;
}

bool JSONParser::enter()
{
    if (++m_depth > deepestNesting)
        return fail("nesting too deep", m_at);
    ++m_at;
    skipWhiteSpace();
    return true;
}

bool JSONParser::parseValue(JSONValue &value)
{
    skipWhiteSpace();
    if (m_at == m_end)
        return fail("unexpected end", m_at);
    switch (*m_at) {
    case '"':
        return parseString(value);
    case '{':
        return parseObject(value);
    case '[':
        return parseArray(value);
    case 't':
        return expect("true", true, value);
    case 'f':
        return expect("false", false, value);
    case 'n':
        return expect("null", nullptr, value);
    default:
        return parseNumber(value);
    }
}

bool JSONParser::expect(std::string_view word, JSONValue result, JSONValue &value)
{
    if (!std::string_view(m_at, static_cast<size_t>(m_end - m_at)).starts_with(word))
        return fail(("expected " + std::string(word)).c_str(), m_at);
    m_at += word.size();
    value = std::move(result);
    return true;
}

bool JSONParser::parseObject(JSONValue &value)
{
    if (!enter())
        return false;
    const size_t mine = m_open.size();
    for (bool more = !isAt('}'); more;) {
        skipWhiteSpace();
        if (!isAt('"'))
            return fail("expected key", m_at);
        if (!parseString(m_open.emplace_back()))
            return false;
        skipWhiteSpace();
        if (!isAt(':'))
            return fail("expected :", m_at);
        ++m_at;
        JSONValue member;
        if (!parseValue(member))
            return false;
        m_open.push_back(std::move(member));
        skipWhiteSpace();
        more = isAt(',');
        if (!more && !isAt('}'))
            return fail("expected , or }", m_at);
        m_at += more;
    }
    ++m_at;
    --m_depth;
    value = JSONStorage::makeObject(m_open.data() + mine, (m_open.size() - mine) / 2);
    m_open.resize(mine);
    return true;
}

bool JSONParser::parseArray(JSONValue &value)
{
    if (!enter())
        return false;
    const size_t mine = m_open.size();
    for (bool more = !isAt(']'); more;) {
        JSONValue element;
        if (!parseValue(element))
            return false;
        m_open.push_back(std::move(element));
        skipWhiteSpace();
        more = isAt(',');
        if (!more && !isAt(']'))
            return fail("expected , or ]", m_at);
        m_at += more;
    }
    ++m_at;
    --m_depth;
    value = JSONStorage::makeArray(m_open.data() + mine, m_open.size() - mine);
    m_open.resize(mine);
    return true;
}

/// The block to which a long text goes, with a reference for it.
JSONTextBlock *JSONParser::blockFor(size_t textSize)
{
    const size_t room = JSONTextBlock::roomFor(textSize);
    if (textSize > longestInBlock)
        return JSONTextBlock::make(room);
    if (!m_block || m_block->capacity - m_block->used < room) {
        if (m_block)
            JSONTextBlock::release(m_block);
        // What is left of a short input bounds what can still come.
        m_block = JSONTextBlock::make(std::max(room, std::min(blockSize, static_cast<size_t>(m_end - m_at))));
    }
    // Nobody else sees the block before the parser is done.
    const size_t references = m_block->references.load(std::memory_order_relaxed);
    m_block->references.store(references + 1, std::memory_order_relaxed);
    return m_block;
}

/// A string value of bytes that may be no UTF-8.
JSONValue JSONParser::makeText(std::string_view bytes, bool nonAscii)
{
    std::optional<QByteArray> repaired;
    if (nonAscii && (repaired = repairedUtf8(bytes)))
        bytes = {repaired->constData(), static_cast<size_t>(repaired->size())};
    if (bytes.size() <= JSONStorage::shortCapacity)
        return JSONStorage::shortText(bytes);
    auto *block = blockFor(bytes.size());
    return JSONStorage::longText(block, block->append(bytes));
}

bool JSONParser::parseString(JSONValue &value)
{
    const char *start = ++m_at;
    bool nonAscii = false;
    m_at = JSONScan::stringBreak(start, m_end, nonAscii);
    if (m_at == m_end)
        return fail("unterminated string", m_at);
    if (*m_at == '\\')
        return parseEscapedString(start, nonAscii, value);
    value = makeText({start, m_at}, nonAscii);
    ++m_at;
    return true;
}

bool JSONParser::parseEscapedString(const char *start, bool nonAscii, JSONValue &value)
{
    m_text.assign(start, m_at);
    while (*m_at == '\\') {
        ++m_at;
        if (!parseEscape())
            return false;
        const char *plain = m_at;
        m_at = JSONScan::stringBreak(plain, m_end, nonAscii);
        if (m_at == m_end)
            return fail("unterminated string", m_at);
        m_text.append(plain, m_at);
    }
    value = makeText(m_text, nonAscii);
    ++m_at;
    return true;
}

bool JSONParser::parseEscape()
{
    if (m_at == m_end)
        return fail("bad escape", m_at);
    switch (*m_at) {
    case '"':
    case '\\':
    case '/':
        m_text.push_back(*m_at);
        break;
    case 'b':
        m_text.push_back('\b');
        break;
    case 'f':
        m_text.push_back('\f');
        break;
    case 'n':
        m_text.push_back('\n');
        break;
    case 'r':
        m_text.push_back('\r');
        break;
    case 't':
        m_text.push_back('\t');
        break;
    case 'u':
        return parseUnicodeEscape();
    default:
        return fail("bad escape char", m_at);
    }
    ++m_at;
    return true;
}

bool JSONParser::parseUnicodeEscape()
{
    ++m_at;
    char32_t code = 0;
    if (!parseHex4(code))
        return false;
    if (code >= 0xd800 && code < 0xdc00) {
        if (m_end - m_at < 2 || m_at[0] != '\\' || m_at[1] != 'u')
            return fail("lone high surrogate", m_at);
        m_at += 2;
        const char *second = m_at;
        char32_t low = 0;
        if (!parseHex4(low))
            return false;
        if (low < 0xdc00 || low > 0xdfff)
            return fail("bad low surrogate", second);
        code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
    } else if (code >= 0xdc00 && code < 0xe000) {
        return fail("bad unicode escape", m_at);
    }
    appendUtf8(m_text, code);
    return true;
}

bool JSONParser::parseHex4(char32_t &code)
{
    if (m_end - m_at < 4)
        return fail("short unicode escape", m_at);
    for (const char *stop = m_at + 4; m_at < stop; ++m_at) {
        const char c = *m_at;
        const auto letter = static_cast<unsigned>((c | 0x20) - 'a');
        if (!isDigit(c) && letter > 5)
            return fail("bad hex digit", m_at);
        code = code << 4 | (isDigit(c) ? static_cast<unsigned>(c - '0') : letter + 10);
    }
    return true;
}

bool JSONParser::parseNumber(JSONValue &value)
{
    const char *start = m_at;
    if (isAt('-'))
        ++m_at;
    const char *digits = m_at;
    quint64 magnitude = 0;
    for (; m_at < m_end && isDigit(*m_at); ++m_at)
        magnitude = magnitude * 10 + static_cast<quint64>(*m_at - '0');
    if (m_at == digits)
        return fail("bad number", start);
    if (m_at < m_end && (*m_at == '.' || *m_at == 'e' || *m_at == 'E'))
        return parseDouble(start, value);
    if (m_at - digits <= 18) {
        const auto number = static_cast<qint64>(magnitude);
        value = *start == '-' ? -number : number;
        return true;
    }
    qint64 number = 0;
    if (std::from_chars(start, m_at, number).ec == std::errc()) {
        value = number;
        return true;
    }
    return parseDouble(start, value);
}

/// Called behind the integer digits: takes fraction and exponent and reads the whole text as a double.
bool JSONParser::parseDouble(const char *start, JSONValue &value)
{
    const auto takeDigits = [this] {
        const char *first = m_at;
        while (m_at < m_end && isDigit(*m_at))
            ++m_at;
        return m_at > first;
    };
    bool isComplete = true;
    if (isAt('.')) {
        ++m_at;
        isComplete = takeDigits();
    }
    if (isAt('e') || isAt('E')) {
        ++m_at;
        if (isAt('+') || isAt('-'))
            ++m_at;
        isComplete &= takeDigits();
    }
    double number = 0;
    const auto result = std::from_chars(start, m_at, number);
    if (result.ec == std::errc::result_out_of_range) {
        // Too small is zero or nearly so; too big is no number that could be written again.
        number = std::strtod(std::string(start, m_at).c_str(), nullptr);
    }
    if (!isComplete || result.ptr != m_at || !std::isfinite(number))
        return fail("unparseable number", start);
    value = number;
    return true;
}

} // namespace Keelhaven
