#include "platform/system/IdentityTokens.h"

#include <memory>
#include <openssl/x509v3.h>

#include "common/Deleter.h"
#include "platform/system/CertificateText.h"

// The walk over tokens is used by many, and has kept its form for ten years.
#define P11_KIT_FUTURE_UNSTABLE_API
// A parameter there is called so.
#define template templ
#include <p11-kit/iter.h>
#undef template
#include <openssl/x509v3.h>
#include <p11-kit/p11-kit.h>
#include <p11-kit/uri.h>

namespace {

using Opening = IdentityStore::Opening;

using Modules = std::unique_ptr<CK_FUNCTION_LIST *, Deleter<p11_kit_modules_finalize_and_release>>;
using Iter = std::unique_ptr<P11KitIter, Deleter<p11_kit_iter_free>>;
using Uri = std::unique_ptr<P11KitUri, Deleter<p11_kit_uri_free>>;

// Those that an administrator has registered; the store of trusted roots alone says it is one.
Modules loadModules() {
    return Modules(p11_kit_modules_load_and_initialize(0));
}

QByteArray attribute(P11KitIter *iter, CK_ATTRIBUTE_TYPE type) {
    CK_ATTRIBUTE wanted{type, nullptr, 0};
    if (p11_kit_iter_get_attributes(iter, &wanted, 1) != CKR_OK ||
        wanted.ulValueLen == CK_UNAVAILABLE_INFORMATION)
        return {};
    QByteArray value(qsizetype(wanted.ulValueLen), '\0');
    wanted.pValue = value.data();
    return p11_kit_iter_get_attributes(iter, &wanted, 1) == CKR_OK ? value : QByteArray();
}

bool hasObject(P11KitIter *iter, CK_OBJECT_CLASS kind, const QByteArray &id) {
    CK_FUNCTION_LIST *const module = p11_kit_iter_get_module(iter);
    const CK_SESSION_HANDLE session = p11_kit_iter_get_session(iter);
    CK_ATTRIBUTE wanted[] = {
        {CKA_CLASS, &kind, sizeof kind},
        {CKA_ID, const_cast<char *>(id.constData()), CK_ULONG(id.size())},
    };
    CK_OBJECT_HANDLE object = 0;
    CK_ULONG count = 0;
    if (module->C_FindObjectsInit(session, wanted, std::size(wanted)) != CKR_OK)
        return false;
    module->C_FindObjects(session, &object, 1, &count);
    module->C_FindObjectsFinal(session);
    return count > 0;
}

// Private keys are hidden until the login. Without even a public one in sight, a certificate that
// issues others is one of the chain.
bool mayHaveKey(P11KitIter *iter, X509 *certificate, const QByteArray &id) {
    if (hasObject(iter, CKO_PRIVATE_KEY, id))
        return true;
    const bool isLoginRequired = p11_kit_iter_get_token(iter)->flags & CKF_LOGIN_REQUIRED;
    return isLoginRequired &&
           (hasObject(iter, CKO_PUBLIC_KEY, id) || X509_check_ca(certificate) == 0);
}

// One URI for the certificate and its key, which have their identifier in common.
QString uriFor(const CK_TOKEN_INFO *token, const QByteArray &id) {
    const Uri uri(p11_kit_uri_new());
    *p11_kit_uri_get_token_info(uri.get()) = *token;
    CK_ATTRIBUTE attribute{CKA_ID, const_cast<char *>(id.constData()), CK_ULONG(id.size())};
    p11_kit_uri_set_attribute(uri.get(), &attribute);
    char *text = nullptr;
    if (p11_kit_uri_format(uri.get(), P11_KIT_URI_FOR_OBJECT_ON_TOKEN, &text) != P11_KIT_URI_OK)
        return {};
    const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
    return QString::fromLatin1(text);
}

std::optional<StoredIdentity> identityAt(P11KitIter *iter) {
    const QByteArray der = attribute(iter, CKA_VALUE);
    const QByteArray id = attribute(iter, CKA_ID);
    const auto *bytes = reinterpret_cast<const unsigned char *>(der.constData());
    const CertificateText::Certificate certificate(d2i_X509(nullptr, &bytes, long(der.size())));
    if (id.isEmpty() || !certificate || !CertificateText::isValidToday(certificate.get()) ||
        !mayHaveKey(iter, certificate.get(), id))
        return std::nullopt;
    const CK_TOKEN_INFO *const token = p11_kit_iter_get_token(iter);
    StoredIdentity identity;
    identity.type = QStringLiteral("ENG");
    identity.certificate = identity.privateKey = uriFor(token, id);
    const QString name = QString::fromUtf8(attribute(iter, CKA_LABEL));
    identity.label = name.isEmpty() ? CertificateText::label(certificate.get(), {}) : name;
    identity.issuer = CertificateText::issuer(certificate.get());
    identity.needsPassphrase =
        (token->flags & CKF_LOGIN_REQUIRED) && !(token->flags & CKF_PROTECTED_AUTHENTICATION_PATH);
    return identity;
}

// The session is closed without a logout, which would log out a volume that uses the token.
Opening login(CK_FUNCTION_LIST *module, CK_SLOT_ID slot, QByteArray pin) {
    CK_SESSION_HANDLE session = 0;
    if (module->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session) != CKR_OK)
        return Opening::Failed;
    const CK_RV result = module->C_Login(
        session, CKU_USER, reinterpret_cast<unsigned char *>(pin.data()), CK_ULONG(pin.size()));
    module->C_CloseSession(session);
    switch (result) {
        case CKR_OK:
        case CKR_USER_ALREADY_LOGGED_IN:
            return Opening::Opened;
        case CKR_PIN_INCORRECT:
        case CKR_PIN_INVALID:
        case CKR_PIN_LEN_RANGE:
            return Opening::WrongPassphrase;
        default:
            return Opening::Failed;
    }
}

}  // namespace

QList<StoredIdentity> IdentityTokens::find() {
    QList<StoredIdentity> identities;
    const Modules modules = loadModules();
    if (!modules)
        return identities;
    const Iter iter(p11_kit_iter_new(nullptr, P11KitIterBehavior(0)));
    CK_OBJECT_CLASS kind = CKO_CERTIFICATE;
    CK_ATTRIBUTE wanted{CKA_CLASS, &kind, sizeof kind};
    p11_kit_iter_add_filter(iter.get(), &wanted, 1);
    p11_kit_iter_begin(iter.get(), modules.get());
    while (p11_kit_iter_next(iter.get()) == CKR_OK) {
        if (const auto identity = identityAt(iter.get()))
            identities.append(*identity);
    }
    return identities;
}

Opening IdentityTokens::open(const StoredIdentity &identity, const QString &pin) {
    const Modules modules = loadModules();
    const Uri uri(p11_kit_uri_new());
    if (!modules || p11_kit_uri_parse(identity.certificate.toLatin1().constData(),
                                      P11_KIT_URI_FOR_OBJECT_ON_TOKEN, uri.get()) != P11_KIT_URI_OK)
        return Opening::Failed;
    const Iter iter(p11_kit_iter_new(uri.get(), P11KitIterBehavior(0)));
    p11_kit_iter_begin(iter.get(), modules.get());
    if (p11_kit_iter_next(iter.get()) != CKR_OK)
        return Opening::Failed;
    return login(p11_kit_iter_get_module(iter.get()), p11_kit_iter_get_slot(iter.get()),
                 pin.toUtf8());
}
