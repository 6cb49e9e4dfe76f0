#include <memory>

#include "common/Deleter.h"
#include "platform/system/ProxySettings.h"

// GIO has members of that name.
#undef signals
#include <gio/gio.h>

namespace {

using Schema = std::unique_ptr<GSettingsSchema, Deleter<g_settings_schema_unref>>;
using Settings = std::unique_ptr<GSettings, Deleter<g_object_unref>>;
using Chars = std::unique_ptr<char, Deleter<g_free>>;
using CharsList = std::unique_ptr<char *, Deleter<g_strfreev>>;

// One schema with its values. A key that the installed schema lacks is never asked for, since that
// would end the process.
class Group {
  public:
    explicit Group(const char *id) {
        // The source is shared; null where no schema is installed at all.
        GSettingsSchemaSource *const source = g_settings_schema_source_get_default();
        schema.reset(source ? g_settings_schema_source_lookup(source, id, TRUE) : nullptr);
        if (schema)
            settings.reset(g_settings_new_full(schema.get(), nullptr, nullptr));
    }

    // Null for an empty one.
    QString text(const char *key) const {
        const Chars value(has(key) ? g_settings_get_string(settings.get(), key) : nullptr);
        return value && *value ? QString::fromUtf8(value.get()) : QString();
    }
    bool flag(const char *key) const {
        return has(key) && g_settings_get_boolean(settings.get(), key);
    }
    std::optional<int> number(const char *key) const {
        const int value = has(key) ? g_settings_get_int(settings.get(), key) : 0;
        return value > 0 ? std::optional(value) : std::nullopt;
    }
    QStringList texts(const char *key) const {
        QStringList list;
        const CharsList values(has(key) ? g_settings_get_strv(settings.get(), key) : nullptr);
        for (char **value = values.get(); value && *value; ++value)
            list += QString::fromUtf8(*value);
        return list;
    }

  private:
    bool has(const char *key) const {
        return schema && g_settings_schema_has_key(schema.get(), key);
    }

    Schema schema;
    Settings settings;
};

ProxySettings::Fixed fixedProxy(const Group &group) {
    ProxySettings::Fixed proxy;
    proxy.host = group.text("host");
    proxy.port = group.number("port");
    proxy.isEnabled = !proxy.host.isNull();
    return proxy;
}

void takeFixed(const Group &top, ProxySettings &settings) {
    const Group http("org.gnome.system.proxy.http");
    settings.http = fixedProxy(http);
    if (http.flag("use-authentication")) {
        settings.http.user = http.text("authentication-user");
        settings.http.password = http.text("authentication-password");
    }
    settings.https = fixedProxy(Group("org.gnome.system.proxy.https"));
    // There is one login only, and it is for that host.
    if (settings.https.host == settings.http.host && settings.https.port == settings.http.port)
        settings.https = settings.http;
    settings.exceptions = top.texts("ignore-hosts");
}

}  // namespace

std::optional<ProxySettings> ProxySettings::ofGnome() {
    const Group top("org.gnome.system.proxy");
    const QString mode = top.text("mode");
    ProxySettings settings;
    if (mode == QLatin1String("auto")) {
        settings.scriptURL = top.text("autoconfig-url");
        settings.isScriptEnabled = !settings.scriptURL.isNull();
    } else if (mode == QLatin1String("manual")) {
        takeFixed(top, settings);
    }
    return settings.isScriptEnabled || settings.http.isEnabled || settings.https.isEnabled
               ? std::optional(settings)
               : std::nullopt;
}
