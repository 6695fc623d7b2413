#pragma once
// The rows the recordings window shows, kept up to date by full scans and by
// the folder watcher's changes between them: the window only mirrors this.
//
// Threading contract: GUI thread only (it drives the cache it borrows).

#include <string>
#include <vector>

#include "library/folder_watcher.h"
#include "library/recordings_scan.h"

namespace vocarta {

class RecordingList {
  public:
    explicit RecordingList(DurationCache& cache) : cache_(cache) {}

    // Reads the send log once and lists `folder` through `filter`; the cache is
    // saved afterwards. The caller checks the filter's dates first.
    void Rescan(const std::string& folder, const ViewFilter& filter);
    // A file finished or gone in the listed folder: its row is added, replaced
    // or dropped without a rescan. True when the rows changed.
    bool Apply(const FolderChange& change);
    void SetOrder(RowOrder order);

    const std::vector<RecordingRow>& Rows() const { return rows_; }
    const std::string& Folder() const { return folder_; }
    RowOrder Order() const { return order_; }
    bool FolderReadable() const { return readable_; }
    std::string CountText() const { return FoundCountText(int(rows_.size())); }

  private:
    DurationCache& cache_;
    SentIndex sent_;
    std::vector<RecordingRow> rows_;
    std::string folder_;
    ViewFilter filter_;
    RowOrder order_;
    bool readable_ = false;
};

}  // namespace vocarta
