#pragma once

#include "Contract/JSONStorage.h"

#include <string>

namespace Keelhaven {

/// One pass over the bytes of a JSON text. Used once.
class JSONParser
{
public:
    explicit JSONParser(std::string_view input)
        : m_begin(input.data())
        , m_at(input.data())
        , m_end(input.data() + input.size())
    {}
    JSONParser(const JSONParser &) = delete;
    JSONParser &operator=(const JSONParser &) = delete;
    ~JSONParser();

    [[nodiscard]] Result<JSONValue, JSONParseError> parse();

private:
    // Each returns false after setting m_error.
    bool parseValue(JSONValue &value);
    bool parseObject(JSONValue &value);
    bool parseArray(JSONValue &value);
    bool parseString(JSONValue &value);
    bool parseEscapedString(const char *start, bool nonAscii, JSONValue &value);
    JSONValue makeText(std::string_view bytes, bool nonAscii);
    JSONTextBlock *blockFor(size_t textSize);
    bool parseEscape();
    bool parseUnicodeEscape();
    bool parseHex4(char32_t &code);
    bool parseNumber(JSONValue &value);
    bool parseDouble(const char *start, JSONValue &value);
    bool expect(std::string_view word, JSONValue result, JSONValue &value);
    bool enter();
    bool fail(const char *text, const char *at);

    void skipWhiteSpace()
    {
        while (m_at < m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\r' || *m_at == '\t'))
            ++m_at;
    }
    [[nodiscard]] bool isAt(char c) const { return m_at < m_end && *m_at == c; }

    const char *m_begin;
    const char *m_at;
    const char *m_end;
    int m_depth = 0;
    std::vector<JSONValue> m_open;    ///< finished children of the containers that are still open
    std::string m_text;               ///< the string being unescaped
    JSONTextBlock *m_block = nullptr; ///< takes the longer texts until it is full
    JSONParseError m_error;
};

} // namespace Keelhaven
