#include "Platform/Posix/ReadinessSet.h"

#if __has_include(<sys/epoll.h>)
#include <sys/epoll.h>
#else
#include <fcntl.h>
#include <sys/event.h>
#include <sys/time.h>
#endif

namespace zqm {

#if __has_include(<sys/epoll.h>)

Descriptor openReadinessSet() {
    return Descriptor(::epoll_create1(EPOLL_CLOEXEC));
}

bool addToReadinessSet(int set, int descriptor, void* tag) {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLONESHOT;
    event.data.ptr = tag;
    return ::epoll_ctl(set, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void removeFromReadinessSet(int set, int descriptor) {
    ::epoll_ctl(set, EPOLL_CTL_DEL, descriptor, nullptr);
}

void* takeReady(int set) {
    epoll_event event{};
    return ::epoll_wait(set, &event, 1, 0) == 1 ? event.data.ptr : nullptr;
}

#else

Descriptor openReadinessSet() {
    Descriptor set(::kqueue());
    if (set) ::fcntl(set.get(), F_SETFD, FD_CLOEXEC);
    return set;
}

bool addToReadinessSet(int set, int descriptor, void* tag) {
    struct kevent change;
    EV_SET(&change, descriptor, EVFILT_READ, EV_ADD | EV_ONESHOT, 0, 0, tag);
    return ::kevent(set, &change, 1, nullptr, 0, nullptr) == 0;
}

void removeFromReadinessSet(int set, int descriptor) {
    struct kevent change;
    EV_SET(&change, descriptor, EVFILT_READ, EV_DELETE, 0, 0, nullptr);
    ::kevent(set, &change, 1, nullptr, 0, nullptr);
}

void* takeReady(int set) {
    constexpr timespec atOnce{};
    struct kevent event;
    return ::kevent(set, nullptr, 0, &event, 1, &atOnce) == 1 ? event.udata : nullptr;
}

#endif

}  // namespace zqm
