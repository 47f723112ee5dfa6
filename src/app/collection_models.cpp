// The tree and list models of the main window; see collection_models.h.
#include "app/collection_models.h"

#include "model/collection.h"
#include "model/waveform.h"

namespace vaxel::app {

namespace {

QString Text(const char16_t* text) {
    return QString::fromUtf16(text ? text : u"");
}

// Items whose children the tree shows.
bool HasTreeChildren(ItemType type) {
    return type == ItemType::Instrument || type == ItemType::Layer || type == ItemType::Song;
}

} // namespace

// ---------------------------------------------------------------- tree

CollectionTreeModel::CollectionTreeModel(Collection& collection, QObject* parent)
    : QAbstractItemModel(parent), collection_(collection) {
    rebuild();
}

void CollectionTreeModel::rebuild() {
    beginResetModel();
    top_.clear();
    rowOf_.clear();
    // Instruments first, then Songs, then the synthesis models that no Region
    // holds, each in the collection's order.
    for (ItemType type : {ItemType::Instrument, ItemType::Song, ItemType::SynthesisModel}) {
        for (CollectionItem* item = collection_.first(type); item; item = collection_.next(item, type)) {
            const CollectionItem* p = item->parent();
            if (p && p != &collection_) continue;
            rowOf_[item->id] = int(top_.size());
            top_.push_back(item->id);
        }
    }
    for (ItemType type : {ItemType::Instrument, ItemType::Layer, ItemType::Song}) {
        for (CollectionItem* item = collection_.first(type); item; item = collection_.next(item, type)) {
            for (uint32_t i = 0; i < item->ids.size(); ++i) rowOf_[item->ids[i]] = int(i);
        }
    }
    endResetModel();
}

CollectionItem* CollectionTreeModel::itemAt(const QModelIndex& index) const {
    if (!index.isValid()) return nullptr;
    return collection_.find(ItemId(index.internalId()));
}

QModelIndex CollectionTreeModel::indexOf(ItemId id) const {
    auto it = rowOf_.find(id);
    if (it == rowOf_.end() || !collection_.find(id)) return {};
    return createIndex(it->second, 0, quintptr(id));
}

QModelIndex CollectionTreeModel::index(int row, int column, const QModelIndex& parent) const {
    if (row < 0 || column != 0) return {};
    if (!parent.isValid()) {
        if (size_t(row) >= top_.size()) return {};
        return createIndex(row, 0, quintptr(top_[size_t(row)]));
    }
    const CollectionItem* p = itemAt(parent);
    if (!p || !HasTreeChildren(p->type()) || uint32_t(row) >= p->ids.size()) return {};
    return createIndex(row, 0, quintptr(p->ids[uint32_t(row)]));
}

QModelIndex CollectionTreeModel::parent(const QModelIndex& child) const {
    const CollectionItem* item = itemAt(child);
    if (!item) return {};
    const CollectionItem* p = item->parent();
    if (!p || p == &collection_) return {};
    return indexOf(p->id);
}

int CollectionTreeModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid()) return int(top_.size());
    if (parent.column() != 0) return 0;
    const CollectionItem* p = itemAt(parent);
    if (!p || !HasTreeChildren(p->type())) return 0;
    return int(p->ids.size());
}

int CollectionTreeModel::columnCount(const QModelIndex&) const {
    return 1;
}

QVariant CollectionTreeModel::data(const QModelIndex& index, int role) const {
    const CollectionItem* item = itemAt(index);
    if (!item) return {};
    if (role == Qt::DisplayRole || role == Qt::EditRole) return Text(item->name());
    if (role == Qt::ToolTipRole) return Text(TypeText(item->type()));
    return {};
}

Qt::ItemFlags CollectionTreeModel::flags(const QModelIndex& index) const {
    if (!itemAt(index)) return Qt::NoItemFlags;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable;
}

bool CollectionTreeModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    CollectionItem* item = itemAt(index);
    if (!item || role != Qt::EditRole || !rename || !rename(*item, value.toString())) return false;
    emit dataChanged(index, index);
    return true;
}

QVariant CollectionTreeModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section == 0)
        return Text(collection_.name());
    return {};
}

// ---------------------------------------------------------------- waves

WaveListModel::WaveListModel(Collection& collection, QObject* parent)
    : QAbstractItemModel(parent), collection_(collection) {
    rebuild();
}

void WaveListModel::rebuild() {
    beginResetModel();
    waves_.clear();
    waves_.reserve(collection_.count(ItemType::Waveform));
    rowOf_.clear();
    for (Waveform* wave : ItemsOf<Waveform>(collection_)) waves_.push_back(wave->id);
    endResetModel();
}

QModelIndex WaveListModel::indexOf(ItemId id, int column) const {
    // Most rebuilds are never asked: the map waits for the first question.
    if (rowOf_.empty() && !waves_.empty()) {
        rowOf_.reserve(waves_.size());
        for (size_t row = 0; row < waves_.size(); ++row) rowOf_.emplace(waves_[row], int(row));
    }
    auto it = rowOf_.find(id);
    if (it == rowOf_.end() || !collection_.find(id)) return {};
    return index(it->second, column);
}

CollectionItem* WaveListModel::itemAt(const QModelIndex& index) const {
    if (!index.isValid()) return nullptr;
    return collection_.find(ItemId(index.internalId()));
}

QModelIndex WaveListModel::index(int row, int column, const QModelIndex& parent) const {
    if (parent.isValid() || row < 0 || size_t(row) >= waves_.size() || column < 0 || column >= kColumnCount)
        return {};
    return createIndex(row, column, quintptr(waves_[size_t(row)]));
}

QModelIndex WaveListModel::parent(const QModelIndex&) const {
    return {};
}

int WaveListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(waves_.size());
}

int WaveListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumnCount;
}

QVariant WaveListModel::data(const QModelIndex& index, int role) const {
    const CollectionItem* item = itemAt(index);
    if (!item || item->type() != ItemType::Waveform) return {};
    const auto& wave = static_cast<const Waveform&>(*item);
    if (role == Qt::TextAlignmentRole && index.column() != kName)
        return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::EditRole && index.column() == kName) return Text(wave.name());
    if (role != Qt::DisplayRole) return {};
    switch (index.column()) {
    case kName:
        return Text(wave.name());
    case kRate:
        return QString::number(wave.sampleRate);
    case kChannels:
        return wave.channels == 1   ? QStringLiteral("mono")
               : wave.channels == 2 ? QStringLiteral("stereo")
                                    : QString::number(wave.channels);
    case kLength:
        return wave.sampleRate
                   ? QString::number(double(wave.frames) / wave.sampleRate, 'f', 3) + QStringLiteral(" s")
                   : QString::number(wave.frames);
    default:
        return {};
    }
}

Qt::ItemFlags WaveListModel::flags(const QModelIndex& index) const {
    if (!itemAt(index)) return Qt::NoItemFlags;
    const Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    return index.column() == kName ? flags | Qt::ItemIsEditable : flags;
}

bool WaveListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    CollectionItem* item = itemAt(index);
    if (!item || index.column() != kName || role != Qt::EditRole || !rename ||
        !rename(*item, value.toString()))
        return false;
    emit dataChanged(index, index);
    return true;
}

QVariant WaveListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
    case kName:
        return QStringLiteral("Waveforms");
    case kRate:
        return QStringLiteral("Rate");
    case kChannels:
        return QStringLiteral("Channels");
    case kLength:
        return QStringLiteral("Length");
    default:
        return {};
    }
}

} // namespace vaxel::app
