#include "platform/system/ProxyPasswords.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/system/SessionBus.h"

// GIO has members of that name.
#undef signals
#include <libsecret/secret.h>

namespace {

constexpr auto kLimit = std::chrono::seconds(3);

// Cancels what runs under it when the limit passes.
class Deadline {
  public:
    Deadline() : watcher([this](const std::stop_token &stop) { watch(stop); }) {}
    GCancellable *cancellable() const { return object.get(); }

  private:
    void watch(const std::stop_token &stop) {
        std::mutex mutex;
        std::unique_lock lock(mutex);
        std::condition_variable_any condition;
        if (!condition.wait_for(lock, stop, kLimit, [&stop] { return stop.stop_requested(); }))
            g_cancellable_cancel(object.get());
    }

    const std::unique_ptr<GCancellable, decltype(&g_object_unref)> object{g_cancellable_new(),
                                                                          g_object_unref};
    std::jthread watcher;
};

QString passwordOf(SecretRetrievable *item, GCancellable *cancellable) {
    SecretValue *const value = secret_retrievable_retrieve_secret_sync(item, cancellable, nullptr);
    if (!value)
        return {};
    gsize size = 0;
    const char *const bytes = secret_value_get(value, &size);
    const QString password = QString::fromUtf8(bytes, qsizetype(size));
    secret_value_unref(value);
    return password;
}

}  // namespace

QString ProxyPasswords::find(const QString &server, int port, const QString &protocol,
                             const QString &user) {
    // A keyring kept in a file needs no bus.
    if (!qEnvironmentVariableIsSet("SECRET_BACKEND") && !SessionBus::isThere())
        return {};
    const Deadline deadline;
    // Without being told to unlock, a locked keyring isn't opened by a question to the person.
    GList *const items = secret_password_search_sync(
        SECRET_SCHEMA_COMPAT_NETWORK, SECRET_SEARCH_LOAD_SECRETS, deadline.cancellable(), nullptr,
        "server", server.toUtf8().constData(), "port", port, "protocol",
        protocol.toUtf8().constData(), "user", user.toUtf8().constData(), nullptr);
    const QString password =
        items ? passwordOf(SECRET_RETRIEVABLE(items->data), deadline.cancellable()) : QString();
    g_list_free_full(items, g_object_unref);
    return password;
}
