#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <utility>

namespace Keelhaven {

/// An open regular file that others append to. It keeps the file itself, so a rename or deletion behind its
/// back loses nothing.
class TailFile
{
public:
    /// Which file it is, whatever its name.
    struct Identity
    {
        quint64 device = 0;
        quint64 inode = 0;
        bool operator==(const Identity &) const = default;
    };

    /// Nothing when there is no such file or it is no regular one; never waits, not even for a pipe in its
    /// place.
    [[nodiscard]] static std::optional<TailFile> open(const QString &path);

    TailFile(TailFile &&other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
        , m_identity(other.m_identity)
    {}
    TailFile &operator=(TailFile &&other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        m_identity = other.m_identity;
        return *this;
    }
    ~TailFile();

    [[nodiscard]] Identity identity() const { return m_identity; }
    [[nodiscard]] quint64 size() const;

    /// At most `limit` bytes from `offset`; empty at the end and on an error.
    [[nodiscard]] QByteArray read(quint64 offset, qsizetype limit) const;

private:
    TailFile(int descriptor, Identity identity)
        : m_descriptor(descriptor)
        , m_identity(identity)
    {}

    int m_descriptor;
    Identity m_identity;
};

} // namespace Keelhaven
