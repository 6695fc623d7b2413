#include "library/recording_list.h"

#include <algorithm>

#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

void RecordingList::Rescan(const std::string& folder, const ViewFilter& filter) {
    folder_ = folder;
    filter_ = filter;
    sent_.Load();
    ScanResult result = ScanFolder(folder, filter, order_, cache_, sent_);
    rows_ = std::move(result.rows);
    readable_ = result.folderReadable;
    if (auto saved = cache_.Save(); !saved) LogError("%s", saved.Error().Message().c_str());
}

bool RecordingList::Apply(const FolderChange& change) {
    const auto existing = std::find_if(
        rows_.begin(), rows_.end(), [&](const RecordingRow& r) { return r.path == change.path; });
    const bool had = existing != rows_.end();
    if (had) rows_.erase(existing);
    if (change.kind == FolderChange::Kind::kGone) {
        cache_.Forget(change.path);
        return had;
    }
    if (RecordingExtensionIndex(BaseName(change.path)) < 0) return had;
    auto row = BuildRow(change.path, cache_, sent_);
    if (!row || !PassesFilter(filter_, *row)) return had;
    rows_.push_back(std::move(*row));
    SortRows(rows_, order_);
    if (auto saved = cache_.Save(); !saved) LogError("%s", saved.Error().Message().c_str());
    return true;
}

void RecordingList::SetOrder(RowOrder order) {
    order_ = order;
    SortRows(rows_, order_);
}

}  // namespace vocarta
