#include "Platform/InotifyDirectoryWatch.h"

#include <QFile>
#include <QSocketNotifier>
#include <array>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace Keelhaven {

namespace {

class InotifyWatch : public DirectoryWatch
{
public:
    InotifyWatch(int descriptor, std::function<void()> onEvent, std::function<void()> onLost)
        : m_descriptor(descriptor)
        , m_notifier(descriptor, QSocketNotifier::Read)
        , m_onEvent(std::move(onEvent))
        , m_onLost(std::move(onLost))
    {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { drain(); });
    }

    ~InotifyWatch() override
    {
        m_notifier.setEnabled(false);
        ::close(m_descriptor);
    }

private:
    void drain()
    {
        bool changed = false;
        bool lost = false;
        alignas(inotify_event) std::array<char, 16384> buffer;
        for (ssize_t size; (size = ::read(m_descriptor, buffer.data(), buffer.size())) > 0;) {
            for (ssize_t at = 0; at < size;) {
                inotify_event event;
                std::memcpy(&event, buffer.data() + at, sizeof event);
                at += static_cast<ssize_t>(sizeof event + event.len);
                changed = true;
                lost |= (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0;
            }
        }
        // The callbacks may destroy this watch, so they run last, from copies.
        const auto onEvent = m_onEvent;
        const auto onLost = m_onLost;
        if (lost)
            onLost();
        else if (changed)
            onEvent();
    }

    int m_descriptor;
    QSocketNotifier m_notifier;
    std::function<void()> m_onEvent;
    std::function<void()> m_onLost;
};

} // namespace

std::unique_ptr<DirectoryWatch> InotifyDirectoryWatchFactory::watch(const QString &folder,
                                                                    std::function<void()> onEvent,
                                                                    std::function<void()> onLost)
{
    const int descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    constexpr uint32_t mask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY |
                              IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    if (::inotify_add_watch(descriptor, QFile::encodeName(folder).constData(), mask) < 0) {
        ::close(descriptor);
        return nullptr;
    }
    return std::make_unique<InotifyWatch>(descriptor, std::move(onEvent), std::move(onLost));
}

} // namespace Keelhaven
