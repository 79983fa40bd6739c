#include "SessionHost/ChangeWatch.h"

#include <array>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Keelhaven {

namespace {

constexpr uint32_t folderEvents = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM |
                                  IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

bool add(int poll, int descriptor)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    return ::epoll_ctl(poll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

} // namespace

ChangeWatch::ChangeWatch()
    : m_poll(::epoll_create1(EPOLL_CLOEXEC))
    , m_folders(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    if (m_folders >= 0 && !add(m_poll, m_folders))
        ::close(std::exchange(m_folders, -1));
}

ChangeWatch::~ChangeWatch()
{
    for (auto each = m_descriptors.keyBegin(); each != m_descriptors.keyEnd(); ++each)
        ::close(*each);
    for (const int descriptor : {m_folders, m_poll}) {
        if (descriptor >= 0)
            ::close(descriptor);
    }
}

bool ChangeWatch::watchProcess(ProcessID process)
{
    if (isRunning(process))
        return true;
    const auto descriptor = static_cast<int>(::syscall(SYS_pidfd_open, process.pid, 0));
    if (descriptor < 0 || !add(m_poll, descriptor)) {
        if (descriptor >= 0)
            ::close(descriptor);
        return false;
    }
    m_descriptors.insert(descriptor, process.pid);
    m_processes.insert(process.pid, process.startTime);
    m_hasNews = true;
    return true;
}

bool ChangeWatch::watchFolder(const QByteArray &path)
{
    if (m_watches.contains(path))
        return true;
    const int watch = m_folders < 0 ? -1 : ::inotify_add_watch(m_folders, path.constData(), folderEvents);
    if (watch < 0)
        return false;
    m_watches.insert(path, watch);
    m_hasNews = true;
    return true;
}

void ChangeWatch::look()
{
    std::array<epoll_event, 64> events{};
    for (int count = 64; count == 64;) {
        count = ::epoll_wait(m_poll, events.data(), 64, 0);
        for (int i = 0; i < count; ++i) {
            m_hasNews = true;
            if (events[static_cast<size_t>(i)].data.fd == m_folders)
                takeFolderEvents();
            else
                takeEnded(events[static_cast<size_t>(i)].data.fd);
        }
    }
}

bool ChangeWatch::takeNews()
{
    look();
    return std::exchange(m_hasNews, false);
}

void ChangeWatch::takeEnded(int descriptor)
{
    const pid_t pid = m_descriptors.take(descriptor);
    m_processes.remove(pid);
    ::close(descriptor);
}

void ChangeWatch::takeFolderEvents()
{
    alignas(inotify_event) std::array<char, 16384> bytes;
    ssize_t size = 0;
    while ((size = ::read(m_folders, bytes.data(), bytes.size())) > 0) {
        for (ssize_t at = 0; at < size;) {
            const auto *event = reinterpret_cast<const inotify_event *>(bytes.data() + at);
            // The folder went, or goes by another name now; one that takes its place has to be watched anew.
            if ((event->mask & (IN_IGNORED | IN_MOVE_SELF)) != 0) {
                ::inotify_rm_watch(m_folders, event->wd);
                m_watches.removeIf([event](const auto &watch) { return watch.value() == event->wd; });
            }
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
}

} // namespace Keelhaven
