// Showing a collection of 100,000 items in vaxel-studio's main window,
// beside a plain QStandardItemModel with the same rows in the same views.
//
//   bench_app_tree            runs every case in fresh processes and prints
//                             the two sides next to each other
//   bench_app_tree make FILE  writes the SoundFont bank (our own writer)
//   bench_app_tree SIDE CASE  one side ("vaxel" or "peer") of one case
//                             ("memory", or the bank's path): one line
//
// Two cases. "memory": 100,000 items built in memory (1,000 instruments of
// one layer and 60 regions, 38,000 waves), then shown through the step
// openCommand ends with (the flows' refreshView, which rebuilds the panes).
// The bank: a SoundFont file of the same shape, as large as the format
// allows (it holds at most 65,536 generators, so 12,000 regions, and keeps
// only the waves they play: 24,400 items), opened through the window's
// openCommand with the read timed too.
//
// Vaxel shows the items through its models over the Collection by id. The
// peer makes a QStandardItem for every row of the tree (instruments >
// layers > regions) and every Waveform (four columns), in a QSplitter with
// two QTreeViews; for the bank it reads the file with the same reader
// first. The time runs until both panes have painted. Memory: the process's
// peak resident set, and how much the resident set grew from the empty
// window to the painted panes. Run with QT_QPA_PLATFORM=offscreen (the
// program sets it when unset).
#include <sys/resource.h>
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QProcess>
#include <QSplitter>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QTreeView>
#include <cstdio>
#include <filesystem>

#include "app/collection_models.h"
#include "app/commands.h"
#include "app/main_window.h"
#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/waveform.h"

using namespace vaxel;

namespace {

// Instruments of one layer and 60 regions each (30 keys by two velocity
// halves, so no two overlap) over distinct tiny waves.
constexpr int kRegionsPerInstrument = 60;
constexpr uint32_t kFrames = 32;
struct Shape {
    int instruments;
    int waves;
};
// 1,000 + 1,000 + 60,000 + 38,000 = 100,000 items.
constexpr Shape kMemory{1000, 38000};
// 200 + 200 + 12,000 + 12,000 as read back.
constexpr Shape kBank{200, 12000};

long PeakRssKb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

bool Build(Collection& bank, const Shape& shape) {
    std::vector<ItemId> waves;
    waves.reserve(size_t(shape.waves));
    for (int i = 0; i < shape.waves; ++i) {
        const std::string name = "Wave " + std::to_string(i);
        auto* wave = new Waveform(bank, kNewSerial, name.c_str());
        wave->frames = kFrames;
        wave->channels = 1;
        wave->sampleRate = 22050;
        float* data = wave->allocateSamples();
        if (!data) return false;
        for (uint32_t f = 0; f < kFrames; ++f) data[f] = float((i + f) % 97) / 97.0f - 0.5f;
        waves.push_back(wave->id);
    }
    size_t next = 0;
    for (int i = 0; i < shape.instruments; ++i) {
        const std::string name = "Instrument " + std::to_string(i);
        auto* instrument = new Instrument(bank, uint32_t(i), name.c_str());
        instrument->setLocation(uint32_t(i % 128), uint32_t(i / 128), 0, false);
        for (int r = 0; r < kRegionsPerInstrument; ++r) {
            const uint16_t key = uint16_t(10 + r / 2);
            const uint16_t velocity = r % 2 ? uint16_t(64 | 127 << 8) : uint16_t(0 | 63 << 8);
            addRegion(*instrument, waves[next++ % waves.size()], uint16_t(key | key << 8), velocity, -1, 0);
        }
    }
    return true;
}

int MakeBank(const std::filesystem::path& path) {
    Collection bank;
    if (!Build(bank, kBank)) return std::fprintf(stderr, "out of memory\n"), 1;
    const int row = findWriteRowByExtension(u"sf2", 1u << int(ItemType::Collection));
    if (row < 0) return std::fprintf(stderr, "no SoundFont writer\n"), 1;
    WriteOptions options;
    options.codingMask = formatRow(row)->codingMask;
    if (!saveItem(&bank, row, path, options, true))
        return std::fprintf(stderr, "writing the bank failed: %s\n", LastErrorUtf8().c_str()), 1;
    return 0;
}

// Lets both panes paint, as the first frame on screen would.
void Paint(QTreeView* tree, QTreeView* list) {
    QApplication::processEvents();
    tree->viewport()->repaint();
    list->viewport()->repaint();
}

// The resident set now, from /proc/self/statm.
long CurrentRssKb() {
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

size_t CountItems(const Collection& c) {
    size_t n = 0;
    for (int t = 0; t < 7; ++t) n += c.count(ItemType(t));
    return n;
}

int RunVaxel(const QString& file) {
    Collection collection;
    const bool memory = file == QStringLiteral("memory");
    if (memory && !Build(collection, kMemory)) return 1;
    app::MainWindow window(collection);
    window.setMessagesEnabled(false);
    window.resize(900, 600);
    window.show();
    QApplication::processEvents();
    const long before = CurrentRssKb();

    QElapsedTimer timer;
    timer.start();
    if (memory)
        Flows().refreshView(collection);
    else
        window.dispatch(app::kCmdOpen, nullptr, QStringList{file});
    Paint(window.treeView(), window.waveView());
    const double ms = double(timer.nsecsElapsed()) / 1e6;
    std::printf("vaxel %zu %.1f %ld %ld %ld %d %d\n", CountItems(collection), ms, before, CurrentRssKb(),
                PeakRssKb(), window.treeModel()->rowCount(), window.waveModel()->rowCount());
    return 0;
}

int RunPeer(const QString& file) {
    Collection collection;
    const bool memory = file == QStringLiteral("memory");
    if (memory && !Build(collection, kMemory)) return 1;
    QSplitter window;
    auto* tree = new QTreeView(&window);
    auto* list = new QTreeView(&window);
    auto* treeModel = new QStandardItemModel(&window);
    auto* listModel = new QStandardItemModel(&window);
    tree->setUniformRowHeights(true);
    list->setUniformRowHeights(true);
    list->setRootIsDecorated(false);
    tree->setModel(treeModel);
    list->setModel(listModel);
    window.resize(900, 600);
    window.show();
    QApplication::processEvents();
    const long before = CurrentRssKb();

    QElapsedTimer timer;
    timer.start();
    if (!memory && !openFile(collection, file.toStdString(), true))
        return std::fprintf(stderr, "peer: %s\n", LastErrorUtf8().c_str()), 1;
    auto text = [](const CollectionItem* item) { return QString::fromUtf16(item->name()); };
    // The same rows as the window's models: instruments with their layers
    // and regions, then each Waveform with rate, channels and length.
    QStandardItem* root = treeModel->invisibleRootItem();
    for (Instrument* instrument : ItemsOf<Instrument>(collection)) {
        auto* top = new QStandardItem(text(instrument));
        for (ItemId layerId : instrument->ids) {
            const CollectionItem* layer = collection.find(layerId);
            if (!layer) continue;
            auto* middle = new QStandardItem(text(layer));
            for (ItemId regionId : layer->ids)
                if (const CollectionItem* region = collection.find(regionId))
                    middle->appendRow(new QStandardItem(text(region)));
            top->appendRow(middle);
        }
        root->appendRow(top);
    }
    listModel->setColumnCount(4);
    for (Waveform* wave : ItemsOf<Waveform>(collection)) {
        QList<QStandardItem*> row;
        row << new QStandardItem(text(wave)) << new QStandardItem(QString::number(wave->sampleRate))
            << new QStandardItem(wave->channels == 1 ? QStringLiteral("mono") : QStringLiteral("stereo"))
            << new QStandardItem(QString::number(double(wave->frames) / wave->sampleRate, 'f', 3) +
                                 QStringLiteral(" s"));
        listModel->appendRow(row);
    }
    Paint(tree, list);
    const double ms = double(timer.nsecsElapsed()) / 1e6;
    std::printf("peer %zu %.1f %ld %ld %ld %d %d\n", CountItems(collection), ms, before, CurrentRssKb(),
                PeakRssKb(), treeModel->rowCount(), listModel->rowCount());
    return 0;
}

// One side in a fresh process, so each has its own peak; the best time of
// five runs.
QStringList RunSide(const QString& self, const QString& side, const QString& file) {
    QStringList best;
    for (int run = 0; run < 5; ++run) {
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(self, {side, file});
        if (!child.waitForFinished(600000) || child.exitCode() != 0) return {};
        const QStringList fields = QString::fromLatin1(child.readAllStandardOutput()).trimmed().split(u' ');
        if (fields.size() != 8) return {};
        if (best.isEmpty() || fields[2].toDouble() < best[2].toDouble()) best = fields;
    }
    return best;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    InstallFormats();
    // Defaults, with the background wave loader off so that it doesn't
    // compete for the two sides' time.
    GlobalSettings() = Settings{};
    GlobalSettings().app.bAsyncWaveLoad = false;

    const QStringList args = QApplication::arguments();
    if (args.size() == 3 && args[1] == QStringLiteral("make")) return MakeBank(args[2].toStdString());
    if (args.size() == 3 && args[1] == QStringLiteral("vaxel")) return RunVaxel(args[2]);
    if (args.size() == 3 && args[1] == QStringLiteral("peer")) return RunPeer(args[2]);
    if (args.size() != 1) {
        std::fprintf(stderr, "usage: bench_app_tree [make|vaxel|peer FILE]\n");
        return 2;
    }

    QTemporaryDir dir;
    const QString bank = dir.filePath(QStringLiteral("bank.sf2"));
    QElapsedTimer timer;
    timer.start();
    if (QProcess::execute(args[0], {QStringLiteral("make"), bank}) != 0) return 1;
    std::printf("bank: %lld bytes, written in %lld ms\n", QFileInfo(bank).size(), timer.elapsed());

    for (const QString& which : {QStringLiteral("memory"), bank}) {
        const QStringList ours = RunSide(args[0], QStringLiteral("vaxel"), which);
        const QStringList peer = RunSide(args[0], QStringLiteral("peer"), which);
        if (ours.isEmpty() || peer.isEmpty()) return std::fprintf(stderr, "a side failed\n"), 1;
        std::printf("\n%s\n", which == bank
                                  ? "SoundFont bank, openCommand to painted panes (best of 5)"
                                  : "Collection in memory, refreshView to painted panes (best of 5)");
        std::printf("%-38s %14s %14s %8s\n", "", "vaxel", "QStandardItem", "ratio");
        std::printf("%-38s %14s %14s\n", "items", qPrintable(ours[1]), qPrintable(peer[1]));
        std::printf("%-38s %14s %14s\n", "tree top rows / waveform rows",
                    qPrintable(ours[6] + QLatin1Char('/') + ours[7]),
                    qPrintable(peer[6] + QLatin1Char('/') + peer[7]));
        std::printf("%-38s %14.1f %14.1f %8.2f\n", "time, ms", ours[2].toDouble(), peer[2].toDouble(),
                    ours[2].toDouble() / peer[2].toDouble());
        const double ourPeak = ours[5].toDouble() / 1024, peerPeak = peer[5].toDouble() / 1024;
        std::printf("%-38s %14.1f %14.1f %8.2f\n", "peak RSS, MiB", ourPeak, peerPeak, ourPeak / peerPeak);
        const double ourGrowth = (ours[4].toDouble() - ours[3].toDouble()) / 1024;
        const double peerGrowth = (peer[4].toDouble() - peer[3].toDouble()) / 1024;
        std::printf("%-38s %14.1f %14.1f %8.2f\n", "RSS growth while showing, MiB", ourGrowth, peerGrowth,
                    ourGrowth / peerGrowth);
    }
    return 0;
}
