#include "connection/VDSSLCertificate.h"

#include "common/Text.h"
#include "common/VDCommonUtils.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/VDSSLChooserWindowController.h"
#include "platform/ui/VDSSLTableData.h"

namespace {

const QString kCommonName = QStringLiteral("2.5.4.3");
const QString kOrganisation = QStringLiteral("2.5.4.10");
// "Unknown", in every language.
const QString kUnknown = QStringLiteral("不明");

const IdentityStore &machineStore() {
    static const IdentityStore store;
    return store;
}

// The first common name, else the last organisation.
QString issuerText(const QList<StoredIdentity::NamePart> &issuer) {
    QString text = kUnknown;
    for (const auto &[object, value] : issuer) {
        if (object == kCommonName)
            return value;
        if (object == kOrganisation)
            text = value;
    }
    return text;
}

void showAlert(const char *text) {
    VDCommonUtils::showAlert({.title = localizedText("Common_Error_Title"),
                              .text = localizedText(text),
                              .informativeText = {},
                              .buttons = {localizedText("Common_Button_OK")}});
}

// The row the person chose, Table::kNoRow for none.
int choose(const QList<StoredIdentity> &identities) {
    VDSSLTableData data;
    for (const StoredIdentity &identity : identities) {
        data.certLavels += identity.label;
        data.certIssurs += issuerText(identity.issuer);
    }
    VDSSLChooserWindowController chooser(data);
    return UserInterface::current().runChooser(chooser) == VDSSLChooserWindowController::kOK
               ? chooser.tableSelectCert.selectedRow()
               : Table::kNoRow;
}

}  // namespace

VDSSLCertificate::VDSSLCertificate() : VDSSLCertificate(machineStore()) {}

QList<ClientIdentity> VDSSLCertificate::getClientIdentity() {
    const auto identities = store.copyMatching();
    if (!identities || identities->isEmpty()) {
        notFindDialog();
        return {};
    }
    const int row = choose(*identities);
    return row >= 0 && row < identities->size() ? opened(identities->at(row))
                                                : QList<ClientIdentity>();
}

// Asks until the passphrase is right or the person gives up, which counts as no choice.
QList<ClientIdentity> VDSSLCertificate::opened(const StoredIdentity &identity) const {
    ClientIdentity chosen{.label = identity.label,
                          .certificate = identity.certificate,
                          .privateKey = identity.privateKey,
                          .type = identity.type,
                          .passphrase = {}};
    const char *title = "VDSSLCertificate_2";
    while (identity.needsPassphrase) {
        LoginQuestion question{.title = localizedText(title, identity.label),
                               .username = {},
                               .password = {},
                               .isPassphrase = true};
        if (!UserInterface::current().runLogin(question))
            return {};
        const auto opening = store.open(identity, question.password);
        if (opening == IdentityStore::Opening::Failed) {
            showAlert("VDSSLCertificate_4");
            return {};
        }
        chosen.passphrase = question.password;
        if (opening == IdentityStore::Opening::Opened)
            break;
        title = "VDSSLCertificate_3";
    }
    return {chosen};
}

void VDSSLCertificate::notFindDialog() {
    showAlert("VDSSLCertificate_1");
}
