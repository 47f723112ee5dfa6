// The update check over HTTPS: GET <address>ver/Vaxel Studio.txt with the
// agent "ZLK 1.0"; the reply is a version text "a.b.c.d".
#include "app/update_check.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPushButton>
#include <QRegularExpression>
#include <QTimer>
#include <QUrl>
#include <QWidget>

#include "model/settings.h"

namespace vaxel::app {

long long ParseVersion(const QString& text) {
    const QString t = text.trimmed();
    if (t.isEmpty() || t.size() > 15 || !t.front().isDigit()) return -1;
    static const QRegularExpression kForm(QStringLiteral("^(\\d+)\\.(\\d+)\\.(\\d+)\\.(\\d+)$"));
    const QRegularExpressionMatch m = kForm.match(t);
    if (!m.hasMatch()) return -1;
    long long value = 0;
    for (int i = 1; i <= 4; ++i) value = value * 100 + m.captured(i).toLongLong();
    return value;
}

namespace {
void ShowResult(QWidget* parent, const QUrl& base, const QString& latest, bool fromCommand, bool messages);
} // namespace

QString CurrentVersionText() {
    return QString::fromLatin1(kSettingsVersion) + QStringLiteral(".0.8");
}

void CheckForUpdates(QWidget* parent, bool fromCommand, bool messages) {
    const std::string& address = GlobalSettings().app.szUpdateAddress;
    if (address.empty()) return;
    QUrl base(QString::fromStdString(address));
    if (!base.path().endsWith(u'/')) base.setPath(base.path() + u'/');
    QNetworkRequest request(base.resolved(QUrl(QStringLiteral("ver/Vaxel%20Studio.txt"))));
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("ZLK 1.0"));
    request.setTransferTimeout(15000);

    auto* network = new QNetworkAccessManager(parent);
    QNetworkReply* reply = network->get(request);
    QObject::connect(reply, &QNetworkReply::finished, parent, [=] {
        const QString latest = QString::fromLatin1(reply->read(16)).trimmed();
        const bool ok = reply->error() == QNetworkReply::NoError;
        reply->deleteLater();
        network->deleteLater();
        // The answer's boxes run their own event loops: not inside the
        // network's signal.
        QTimer::singleShot(0, parent,
                           [=] { ShowResult(parent, base, ok ? latest : QString(), fromCommand, messages); });
    });
}

namespace {

void ShowResult(QWidget* parent, const QUrl& base, const QString& latest, bool fromCommand, bool messages) {
    const bool show = messages && fromCommand;
    const long long latestNumber = ParseVersion(latest);
    if (latestNumber < 0) {
        if (show)
            QMessageBox::warning(parent, QStringLiteral("Vaxel Studio"),
                                 QStringLiteral("Failed - could not connect to server!"));
        return;
    }
    const QString current = CurrentVersionText();
    if (latestNumber <= ParseVersion(current)) {
        if (show)
            QMessageBox::information(parent, QStringLiteral("Vaxel Studio"),
                                     QStringLiteral("\nYou're good - no newer version was found."));
        return;
    }
    if (!messages) return;
    // The reply carries no mark of a beta: both versions read as releases.
    QMessageBox box(QMessageBox::Information, QStringLiteral("Vaxel Studio"),
                    QStringLiteral("A newer version is available!\n\nCurrent version is:  \tv%1%2\nLatest "
                                   "version is:   \tv%3%4\n\nWould you like to go to our web-site to "
                                   "download it?")
                        .arg(current, QStringLiteral(" release"), latest, QStringLiteral(" release")),
                    QMessageBox::NoButton, parent);
    QPushButton* go = box.addButton(QStringLiteral("Yes, take me there"), QMessageBox::AcceptRole);
    box.addButton(QStringLiteral("Not now"), QMessageBox::RejectRole);
    auto* stop = new QCheckBox(QStringLiteral("Don't ask again"), &box);
    box.setCheckBox(stop);
    box.exec();
    if (stop->isChecked()) GlobalSettings().app.bCheckForUpdates = false;
    // The download page is the update address itself.
    if (box.clickedButton() == go) QDesktopServices::openUrl(base);
}

} // namespace

} // namespace vaxel::app
