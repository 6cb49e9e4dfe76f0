#include <gtest/gtest.h>

#include "common/Text.h"
#include "connection/VDSSLCertificate.h"
#include "platform/ui/VDSSLChooserWindowController.h"
#include "support/RecordingInterface.h"

namespace {

using NamePart = StoredIdentity::NamePart;

class FakeStore : public IdentityStore {
  public:
    std::optional<QList<StoredIdentity>> copyMatching() const override { return identities; }
    Opening open(const StoredIdentity &, const QString &passphrase) const override {
        if (passphrase == "locked")
            return Opening::Failed;
        return passphrase == "right" ? Opening::Opened : Opening::WrongPassphrase;
    }
    std::optional<QList<StoredIdentity>> identities = QList<StoredIdentity>();
};

StoredIdentity identity(const QString &label, const QList<NamePart> &issuer) {
    return {label, issuer, "/" + label, "/" + label, "P12", false};
}

class SSLCertificate : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(installTexts(QLocale("en"))); }

    QStringList told() {
        QStringList texts;
        for (const Alert &alert : std::exchange(interface.alerts, {}))
            texts.append(alert.text);
        return texts;
    }
    // The label and passphrase of what comes of choosing that row.
    QString choose(int row, int code = VDSSLChooserWindowController::kOK) {
        interface.onChooser = [=](VDSSLChooserWindowController &chooser) {
            if (row >= 0)
                chooser.tableSelectCert.userSelect(row);
            return code;
        };
        const QList<ClientIdentity> chosen = VDSSLCertificate(store).getClientIdentity();
        return chosen.isEmpty() ? QString() : chosen[0].label + u'/' + chosen[0].passphrase;
    }

    FakeStore store;
    RecordingInterface interface;
};

}  // namespace

TEST_F(SSLCertificate, ShowsLabelAndIssuerAndGivesTheChosenOne) {
    const NamePart common{"2.5.4.3", "Common"}, second{"2.5.4.3", "Second"};
    const NamePart firm{"2.5.4.10", "Firm"}, later{"2.5.4.10", "Later"}, unit{"2.5.4.11", "Unit"};
    store.identities = {{identity("a", {firm, common, second}), identity("b", {common, firm}),
                         identity("c", {firm, unit, later}), identity("d", {unit}),
                         identity("e", {})}};
    QList<QStringList> rows;
    interface.onChooser = [&](VDSSLChooserWindowController &chooser) {
        rows = chooser.tableSelectCert.rows();
        return 0;
    };
    EXPECT_TRUE(VDSSLCertificate(store).getClientIdentity().isEmpty());
    EXPECT_EQ(rows,
              (QList<QStringList>{
                  {"a", "Common"}, {"b", "Common"}, {"c", "Later"}, {"d", "不明"}, {"e", "不明"}}));

    EXPECT_EQ(choose(2), "c/");
    EXPECT_EQ(choose(2, VDSSLChooserWindowController::kCancel), QString());
    EXPECT_EQ(choose(-1), QString()) << "OK without a selection";
    EXPECT_EQ(told(), QStringList());
}

TEST_F(SSLCertificate, TellsOnceThatThereIsNone) {
    EXPECT_EQ(choose(0), QString());
    store.identities = std::nullopt;
    EXPECT_EQ(choose(0), QString());
    EXPECT_EQ(told(), QStringList(2, localizedText("VDSSLCertificate_1")));
}

TEST_F(SSLCertificate, AsksForThePassphraseUntilItFitsOrIsCancelled) {
    store.identities = {{identity("a", {})}};
    store.identities->first().needsPassphrase = true;
    interface.loginAnswers = {{"", "wrong"}, {"", "right"}};
    EXPECT_EQ(choose(0), "a/right");
    ASSERT_EQ(interface.logins.size(), 2);
    EXPECT_EQ(interface.logins[0].title, localizedText("VDSSLCertificate_2", QString("a")));
    EXPECT_EQ(interface.logins[1].title, localizedText("VDSSLCertificate_3", QString("a")));
    EXPECT_TRUE(interface.logins[1].isPassphrase);

    interface.loginAnswers = {{"", "wrong"}};
    EXPECT_EQ(choose(0), QString());
    EXPECT_EQ(told(), QStringList());
    interface.loginAnswers = {{"", "locked"}};
    EXPECT_EQ(choose(0), QString());
    EXPECT_EQ(told(), QStringList(localizedText("VDSSLCertificate_4")));
}
