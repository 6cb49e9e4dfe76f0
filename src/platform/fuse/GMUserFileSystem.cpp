#include "platform/fuse/GMUserFileSystem.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "common/Log.h"
#include "common/Text.h"
#include "platform/fuse/FuseVolume.h"
#include "platform/fuse/KernelMount.h"
#include "platform/fuse/MountOptions.h"

namespace {

using Clock = std::chrono::steady_clock;

// How long a forced unmount still answers requests before it takes the handles back by itself. A
// program that never stops writing would otherwise hold the volume for good.
constexpr std::chrono::seconds kDrainTime{5};
// How long a detached volume may go on with a read that nobody waits for, before it is given up.
constexpr std::chrono::seconds kReadGrace{2};

using Observers = std::map<int, std::shared_ptr<GMUserFileSystem::Observer>>;

// Guards the observers alone, and is never held while one runs.
std::recursive_mutex &observersMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

Observers &observers() {
    static Observers list;
    return list;
}

std::shared_ptr<GMUserFileSystem::Observer> observer(int subscription) {
    const std::lock_guard guard(observersMutex());
    const auto found = observers().find(subscription);
    return found == observers().end() ? nullptr : found->second;
}

Observers currentObservers() {
    const std::lock_guard guard(observersMutex());
    return observers();
}

// What libfuse has to say would otherwise go to standard error by itself.
void logOfLibrary(fuse_log_level, const char *format, va_list arguments) {
    VDLog(QString::vasprintf(format, arguments).trimmed());
}

Error failure(int code, const char *textKey, const QString &path) {
    return Error::errorWithPOSIXCode(code,
                                     {{QStringLiteral("OUTPUT"), localizedText(textKey, path)}});
}

// Signals that end the program are for its main thread.
void blockSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGUSR1, SIGUSR2})
        sigaddset(&ending, signal);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
}

class WakeUp {
  public:
    WakeUp() : descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~WakeUp() { ::close(descriptor); }
    WakeUp(const WakeUp &) = delete;
    WakeUp &operator=(const WakeUp &) = delete;

    void wake() const { ::eventfd_write(descriptor, 1); }

    const int descriptor;
};

struct FuseDeleter {
    void operator()(fuse *instance) const { ::fuse_destroy(instance); }
};
using FusePtr = std::unique_ptr<fuse, FuseDeleter>;

// Closes the connection to the kernel under libfuse, which goes on holding the number: programs
// with open files get an error at once and don't wait for what is still to be released.
void sever(fuse *instance) {
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nothing < 0)
        return;
    ::dup3(nothing, fuse_session_fd(fuse_get_session(instance)), O_CLOEXEC);
    ::close(nothing);
}

}  // namespace

class GMUserFileSystem::Impl : public std::enable_shared_from_this<Impl> {
  public:
    Impl(const GMUserFileSystem *owner, std::shared_ptr<GMUserFileSystemDelegate> delegate)
        : owner(owner), delegate(std::move(delegate)) {}

    void start(const QString &path, const QStringList &options, bool detachNewThread);
    bool unmount(UnmountMode mode, ErrorOut error);
    void giveUpReading();
    bool isDetached();
    void waitUntilEnded();
    bool isMounted() const { return mounted; }
    bool serves(const GMUserFileSystemDelegate *other) const { return delegate.get() == other; }
    bool isOwnedBy(const GMUserFileSystem *host) const { return owner == host; }
    // The owner goes. On the host's thread, which can't wait for itself, the thread is left to end.
    void loseOwner();

  private:
    enum class State { kIdle, kMounting, kMounted, kEnded };

    void run(const QString &path, const MountOptions &options);
    // Null on failure, with nothing left mounted.
    FusePtr establish(const QString &path, const MountOptions &options, ErrorOut error);
    void serve(fuse *instance);
    // False when a stop was asked for and nothing is left to answer.
    bool awaitRequest(int connection, std::optional<Clock::time_point> *deadline) const;
    // False when a stop was asked for before the volume answered.
    bool announceMount();
    void end(FusePtr instance, const QString &path);
    // Whether a stop was asked for.
    bool enterEnd();
    void notify(Notification notification, const std::optional<Error> &error = std::nullopt);

    std::atomic<const GMUserFileSystem *> owner;
    const std::shared_ptr<GMUserFileSystemDelegate> delegate;
    const WakeUp wakeUp;
    std::atomic<bool> mounted = false;

    // The host's thread alone.
    std::unique_ptr<FuseVolume> volume;

    // Guards the four below. Held while the mount table is changed, never while the delegate or
    // an observer runs.
    std::recursive_mutex stateMutex;
    std::condition_variable_any hasEnded;  // with stateMutex
    State state = State::kIdle;
    bool stopAsked = false;
    std::unique_ptr<KernelMount> mount;
    std::thread readLimiter;  // from the first stop asked for until the end

    // Guards the joining of the thread; never taken along with the other.
    std::recursive_mutex threadMutex;
    std::thread thread;
    std::atomic<std::thread::id> hostThread;
};

void GMUserFileSystem::Impl::start(const QString &path, const QStringList &options,
                                   bool detachNewThread) {
    {
        const std::lock_guard guard(stateMutex);
        if (state != State::kIdle)
            return;
        state = State::kMounting;
    }
    const MountOptions parsed = MountOptions::fromList(options);
    if (!detachNewThread) {
        run(path, parsed);
        return;
    }
    const std::lock_guard guard(threadMutex);
    thread = std::thread([self = shared_from_this(), path, parsed] {
        pthread_setname_np(pthread_self(), "velmora-host");
        blockSignals();
        self->run(path, parsed);
    });
}

void GMUserFileSystem::Impl::run(const QString &path, const MountOptions &options) {
    static std::once_flag once;
    std::call_once(once, [] { fuse_set_log_func(logOfLibrary); });

    hostThread = std::this_thread::get_id();
    delegate->willMount();
    std::optional<Error> error;
    if (FusePtr instance = establish(path, options, &error)) {
        serve(instance.get());
        end(std::move(instance), path);
    } else {
        enterEnd();
        notify(Notification::kGMUserFileSystemMountFailed, error);
    }
    hostThread = std::thread::id();
}

FusePtr GMUserFileSystem::Impl::establish(const QString &path, const MountOptions &options,
                                          ErrorOut error) {
    volume = std::make_unique<FuseVolume>(delegate, options);
    fuse_args arguments = FUSE_ARGS_INIT(0, nullptr);
    fuse_opt_add_arg(&arguments, "velmoradisk");
    FusePtr instance(
        fuse_new(&arguments, &FuseVolume::operations(), sizeof(fuse_operations), volume.get()));
    fuse_opt_free_args(&arguments);
    if (!instance) {
        setError(error, failure(EIO, "GMUserFileSystem_NoAnswer", path));
        return nullptr;
    }
    std::unique_ptr<KernelMount> newMount = KernelMount::mountAtPath(path, options.fsname, error);
    if (!newMount)
        return nullptr;
    // libfuse takes the connection as it is, and leaves the unmounting to who made it: it would
    // unmount by path, whatever is mounted there by then.
    fuse_session_custom_io(fuse_get_session(instance.get()), &FuseVolume::connectionIo(),
                           newMount->takeConnection());
    const std::lock_guard guard(stateMutex);
    mount = std::move(newMount);
    return instance;
}

void GMUserFileSystem::Impl::serve(fuse *instance) {
    fuse_session *session = fuse_get_session(instance);
    const int connection = fuse_session_fd(session);
    // A request taken back after it was announced must not leave the thread waiting for another.
    ::fcntl(connection, F_SETFL, O_NONBLOCK);
    fuse_buf request{};
    std::optional<Clock::time_point> deadline;
    bool announced = false;
    while (!fuse_session_exited(session) && awaitRequest(connection, &deadline)) {
        const int size = fuse_session_receive_buf(session, &request);
        if (size == -EINTR || size == -EAGAIN)
            continue;
        if (size <= 0)
            break;
        volume->prepare(request);
        fuse_session_process_buf(session, &request);
        if (announced || !volume->isReady())
            continue;
        announced = announceMount();
        if (!announced)
            break;
    }
    std::free(request.mem);
}

bool GMUserFileSystem::Impl::awaitRequest(int connection,
                                          std::optional<Clock::time_point> *deadline) const {
    pollfd waits[] = {{connection, POLLIN, 0}, {wakeUp.descriptor, POLLIN, 0}};
    if (*deadline)
        return ::poll(waits, 1, 0) > 0 && Clock::now() < **deadline;
    if (::poll(waits, 2, -1) > 0 && waits[1].revents != 0)
        *deadline = Clock::now() + kDrainTime;
    return true;
}

bool GMUserFileSystem::Impl::announceMount() {
    {
        const std::lock_guard guard(stateMutex);
        if (stopAsked)
            return false;
        state = State::kMounted;
    }
    mounted = true;
    notify(Notification::kGMUserFileSystemDidMount);
    return true;
}

void GMUserFileSystem::Impl::end(FusePtr instance, const QString &path) {
    bool wasMounted = false;
    {
        const std::lock_guard guard(stateMutex);
        wasMounted = state == State::kMounted;
        if (mount->isAttached())
            mount->detach(true);
    }
    sever(instance.get());
    if (wasMounted)
        delegate->willUnmount();
    volume->releaseOpenHandles();
    instance.reset();
    const bool wasStopped = enterEnd();
    mounted = false;
    if (wasMounted) {
        notify(Notification::kGMUserFileSystemDidUnmount);
        return;
    }
    notify(Notification::kGMUserFileSystemMountFailed,
           wasStopped ? failure(ECANCELED, "GMUserFileSystem_Cancelled", path)
                      : failure(EIO, "GMUserFileSystem_NoAnswer", path));
}

bool GMUserFileSystem::Impl::enterEnd() {
    std::unique_lock guard(stateMutex);
    state = State::kEnded;
    if (const auto ended = std::exchange(mount, nullptr))
        ended->removeMadeFolder();
    std::thread limiter = std::exchange(readLimiter, {});
    const bool wasStopped = stopAsked;
    guard.unlock();
    hasEnded.notify_all();
    // Else it could outlive the program's main().
    if (limiter.joinable())
        limiter.join();
    return wasStopped;
}

void GMUserFileSystem::Impl::notify(Notification notification, const std::optional<Error> &error) {
    const GMUserFileSystem standIn(shared_from_this());
    for (const auto &[subscription, unused] : currentObservers()) {
        const GMUserFileSystem *sender = owner;
        if (const auto present = observer(subscription))
            (*present)(notification, sender ? sender : &standIn, error);
    }
}

bool GMUserFileSystem::Impl::unmount(UnmountMode mode, ErrorOut error) {
    const std::lock_guard guard(stateMutex);
    if (state == State::kIdle || state == State::kEnded)
        return true;
    if (state == State::kMounted && mount->isAttached()) {
        const int code = mount->detach(mode == UnmountMode::kForce);
        if (code != 0 && mode == UnmountMode::kPlain) {
            setError(error, Error::errorWithPOSIXCode(code));
            return false;
        }
    }
    // After a plain unmount the kernel itself ends the connection, with the last request.
    if (state == State::kMounted && mode == UnmountMode::kPlain)
        return true;
    if (std::exchange(stopAsked, true))
        return true;
    wakeUp.wake();
    readLimiter = std::thread([this] { giveUpReading(); });
    return true;
}

// A server that doesn't answer must not hold up the end for its whole time limit.
void GMUserFileSystem::Impl::giveUpReading() {
    std::unique_lock guard(stateMutex);
    if (hasEnded.wait_for(guard, kReadGrace, [this] { return state == State::kEnded; }))
        return;
    guard.unlock();
    delegate->stopReading();
}

bool GMUserFileSystem::Impl::isDetached() {
    const std::unique_lock guard(stateMutex, std::try_to_lock);
    return guard && state == State::kMounted && !mount->isAttached();
}

void GMUserFileSystem::Impl::waitUntilEnded() {
    if (std::this_thread::get_id() == hostThread.load())
        return;
    const std::lock_guard guard(threadMutex);
    if (thread.joinable())
        thread.join();
}

void GMUserFileSystem::Impl::loseOwner() {
    unmount(UnmountMode::kForce, nullptr);
    waitUntilEnded();
    owner = nullptr;
    const std::lock_guard guard(threadMutex);
    if (thread.joinable())
        thread.detach();
}

int GMUserFileSystem::subscribe(Observer observer) {
    static int last = 0;
    const std::lock_guard guard(observersMutex());
    observers().emplace(++last, std::make_shared<Observer>(std::move(observer)));
    return last;
}

void GMUserFileSystem::unsubscribe(int subscription) {
    const std::lock_guard guard(observersMutex());
    observers().erase(subscription);
}

// A delegate never gets two operations at a time, whether it could bear them or not.
GMUserFileSystem::GMUserFileSystem(std::shared_ptr<GMUserFileSystemDelegate> delegate, bool)
    : impl(std::make_shared<Impl>(this, std::move(delegate))) {}

GMUserFileSystem::GMUserFileSystem(std::shared_ptr<Impl> impl) : impl(std::move(impl)) {}

GMUserFileSystem::~GMUserFileSystem() {
    if (impl->isOwnedBy(this))
        impl->loseOwner();
}

// The host never leaves the foreground by itself: that is for the program to do before it starts
// threads.
void GMUserFileSystem::mountAtPath(const QString &path, const QStringList &options, bool,
                                   bool detachNewThread) {
    impl->start(path, options, detachNewThread);
}

bool GMUserFileSystem::unmount(UnmountMode mode, ErrorOut error) {
    // An observer may drop this host on its thread meanwhile.
    const std::shared_ptr<Impl> kept = impl;
    return kept->unmount(mode, error);
}

void GMUserFileSystem::waitUntilEnded() {
    impl->waitUntilEnded();
}

bool GMUserFileSystem::isMounted() const {
    return impl->isMounted();
}

bool GMUserFileSystem::isDetached() const {
    return impl->isDetached();
}

bool GMUserFileSystem::serves(const GMUserFileSystemDelegate *delegate) const {
    return impl->serves(delegate);
}
