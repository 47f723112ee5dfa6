#pragma once
// The update check: asks the configured address for the latest version and
// offers the download page when it is newer. Without an address in
// app.szUpdateAddress nothing is ever sent.
#include <QString>

class QWidget;

namespace vaxel::app {

// "a.b.c.d" as ((a * 100 + b) * 100 + c) * 100 + d; -1 for a text that is
// not such a version (it must begin with a digit and hold at most 15
// characters).
long long ParseVersion(const QString& text);

// The version of this program in that form.
QString CurrentVersionText();

// Starts the check; it answers when the reply arrives. fromCommand says the
// user asked: only then are "no newer version" and failures shown.
void CheckForUpdates(QWidget* parent, bool fromCommand, bool messages);

} // namespace vaxel::app
