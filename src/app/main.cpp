// vaxel-studio: the desktop program. Start and end follow a fixed order:
// the out-of-memory handler, the settings, the main window, the command line;
// at the end the background loader stops and the settings are written.
#include <QApplication>
#include <QMessageBox>
#include <QPalette>
#include <QSocketNotifier>
#include <QStyle>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "app/command_line.h"
#include "app/main_window.h"
#include "app/update_check.h"
#include "fileio/open_save.h"
#include "fileio/undo_store.h"
#include "fileio/wave_loader.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/status_line.h"
#include "model/text.h"

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char kOutOfMemory[] = "Out of memory - Vaxel Studio will terminate";
constexpr char kNoBatch[] = "Batch jobs can't run yet: they arrive with batch conversion. "
                            "Until then, convert files with the command-line program vaxel.";

// Memory kept back so that the out-of-memory box can still be shown.
char* g_reserve = nullptr;
bool g_messages = true;

void OutOfMemory() {
    delete[] g_reserve;
    g_reserve = nullptr;
    std::set_new_handler(nullptr);
    std::fprintf(stderr, "vaxel-studio: %s\n", kOutOfMemory);
    if (g_messages && QApplication::instance())
        QMessageBox::critical(nullptr, QStringLiteral("Error!"), QString::fromUtf8(kOutOfMemory));
    std::_Exit(EXIT_FAILURE);
}

// SIGTERM and SIGINT (a logout, kill, Ctrl+C in the terminal) close the
// window like the Exit command, so the end runs in order and the settings
// are written. The handler only writes a byte into a socket pair; the event
// loop reads it.
int g_signalPipe[2] = {-1, -1};

void OnTerminate(int) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = ::write(g_signalPipe[0], &byte, 1);
}

// Installed first thing, so that a signal during the start is kept in the
// socket until the window can act on it.
void CatchTerminateSignals() {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalPipe) != 0) return;
    struct sigaction action = {};
    action.sa_handler = OnTerminate;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

void CloseOnSignals(QWidget& window) {
    if (g_signalPipe[1] < 0) return;
    auto* notifier = new QSocketNotifier(g_signalPipe[1], QSocketNotifier::Read, &window);
    QObject::connect(notifier, &QSocketNotifier::activated, &window, [&window] {
        char byte;
        [[maybe_unused]] const ssize_t n = ::read(g_signalPipe[1], &byte, 1);
        window.close();
    });
}

// app.eDarkMode: 0 follows the desktop's style, 1 light, 2 dark (a palette
// of the Fusion style, which honours every role of it).
void ApplyColourScheme(int mode) {
    if (mode != 1 && mode != 2) return;
    QApplication::setStyle(QStringLiteral("Fusion"));
    QPalette palette = QApplication::style()->standardPalette();
    if (mode == 2) {
        const QColor window(45, 45, 48), base(30, 30, 30), text(220, 220, 220), highlight(42, 130, 218);
        palette.setColor(QPalette::Window, window);
        palette.setColor(QPalette::WindowText, text);
        palette.setColor(QPalette::Base, base);
        palette.setColor(QPalette::AlternateBase, window);
        palette.setColor(QPalette::ToolTipBase, window);
        palette.setColor(QPalette::ToolTipText, text);
        palette.setColor(QPalette::Text, text);
        palette.setColor(QPalette::Button, window);
        palette.setColor(QPalette::ButtonText, text);
        palette.setColor(QPalette::Highlight, highlight);
        palette.setColor(QPalette::HighlightedText, Qt::white);
        palette.setColor(QPalette::Link, highlight);
        palette.setColor(QPalette::Disabled, QPalette::Text, QColor(120, 120, 120));
        palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(120, 120, 120));
        palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(120, 120, 120));
    }
    QApplication::setPalette(palette);
}

} // namespace

int main(int argc, char** argv) {
    CatchTerminateSignals();
    g_reserve = new char[1 << 20];
    std::set_new_handler(OutOfMemory);

    // Qt takes its own options (-platform, -style, ...) out of argv.
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vaxel Studio"));
    QApplication::setOrganizationName(QStringLiteral("ZLK-Software"));
    QApplication::setDesktopFileName(QStringLiteral("vaxel-studio"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/vaxel-studio.svg")));

    vaxel::InstallFormats();
    const bool firstRun = vaxel::loadSettings(vaxel::GlobalSettings());
    ApplyColourScheme(vaxel::GlobalSettings().app.eDarkMode);

    int result = EXIT_SUCCESS;
    {
        vaxel::Collection collection;
        vaxel::app::MainWindow window(collection);

        std::vector<std::string> tokens(argv + 1, argv + argc);
        const vaxel::app::CommandLine line = vaxel::app::ParseCommandLine(tokens);
        g_messages = !line.noMessages;
        window.setMessagesEnabled(g_messages);

        if (line.batch) {
            // No window to close: the signals end the run as usual.
            std::signal(SIGTERM, SIG_DFL);
            std::signal(SIGINT, SIG_DFL);
            vaxel::SetLastError(kNoBatch);
            std::fprintf(stderr, "vaxel-studio: %s\n", kNoBatch);
            if (g_messages)
                QMessageBox::critical(nullptr, QStringLiteral("Error!"), QString::fromUtf8(kNoBatch));
            result = 2;
        } else {
            CloseOnSignals(window);
            // A state of another build is refused and the program starts
            // empty; the status bar says why.
            if (!vaxel::loadLastSession(collection)) {
                std::fprintf(stderr, "vaxel-studio: Last session: %s\n",
                             vaxel::WideToUtf8(vaxel::LastError()).c_str());
                vaxel::Status().status(vaxel::LastError(), vaxel::kStatusError);
            }
            window.refresh();
            window.show();
            // The update check asks only an address the user configured.
            vaxel::AppSettings& app = vaxel::GlobalSettings().app;
            if (!app.szUpdateAddress.empty() && g_messages) {
                if (firstRun)
                    app.bCheckForUpdates =
                        QMessageBox::question(&window, QStringLiteral("Vaxel Studio"),
                                              QStringLiteral("Would you like to automatically check for "
                                                             "updates\nwhen the program is started?")) ==
                        QMessageBox::Yes;
                if (app.bCheckForUpdates) vaxel::app::CheckForUpdates(&window, false, g_messages);
            }
            for (size_t i = 0; i < line.paths.size(); ++i) {
                window.dispatch(i == 0 ? vaxel::kCommandOpen : vaxel::kCommandMerge, nullptr,
                                QStringList{QString::fromStdString(line.paths[i])});
            }
            result = QApplication::exec();
        }

        vaxel::ClearLastError();
        vaxel::BackgroundLoader::Stop();
        if (!line.batch && !vaxel::saveLastSession(collection))
            std::fprintf(stderr, "vaxel-studio: Last session could not be saved: %s\n",
                         vaxel::WideToUtf8(vaxel::LastError()).c_str());
        // An unwritable settings folder costs this run's changes, nothing more.
        if (!vaxel::saveSettings(vaxel::GlobalSettings()))
            std::fprintf(stderr, "vaxel-studio: the settings could not be written to %s\n",
                         vaxel::SettingsPath().c_str());
    }
    delete[] g_reserve;
    return result;
}
