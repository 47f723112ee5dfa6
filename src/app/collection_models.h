#pragma once
// Item models over the application Collection for the two panes: the
// collection tree (Instruments > Layers > Regions, Songs > Tracks, synthesis
// models) and the Waveform list. They hold ids, never pointers, and look every
// item up when the view asks, so a model that is a step behind the
// collection shows nothing stale and never touches a deleted item.
#include <QAbstractItemModel>
#include <functional>
#include <unordered_map>
#include <vector>

#include "model/ids.h"

namespace vaxel {
class Collection;
class CollectionItem;
} // namespace vaxel

namespace vaxel::app {

class CollectionTreeModel : public QAbstractItemModel {
    Q_OBJECT
  public:
    explicit CollectionTreeModel(Collection& collection, QObject* parent = nullptr);

    // Re-reads the collection; views keep no index across it.
    void rebuild();
    CollectionItem* itemAt(const QModelIndex& index) const;
    QModelIndex indexOf(ItemId id) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // An edited name goes to rename, which changes the item.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    std::function<bool(CollectionItem& item, const QString& name)> rename;

  private:
    Collection& collection_;
    std::vector<ItemId> top_;
    // The row of every item shown, under its parent (or at the top).
    std::unordered_map<ItemId, int> rowOf_;
};

class WaveListModel : public QAbstractItemModel {
    Q_OBJECT
  public:
    enum Column { kName, kRate, kChannels, kLength, kColumnCount };
    explicit WaveListModel(Collection& collection, QObject* parent = nullptr);

    void rebuild();
    CollectionItem* itemAt(const QModelIndex& index) const;
    // The row of a Waveform (in the given column), or an invalid index.
    QModelIndex indexOf(ItemId id, int column = kName) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // An edited name goes to rename, which changes the item.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    std::function<bool(CollectionItem& item, const QString& name)> rename;

  private:
    Collection& collection_;
    std::vector<ItemId> waves_;
    mutable std::unordered_map<ItemId, int> rowOf_; // made at the first indexOf after a rebuild
};

} // namespace vaxel::app
