#include "audio/trim/recording_trim.h"

#include <sys/stat.h>

#include <memory>
#include <vector>

#include "audio/trim/edit_list.h"
#include "audio/trim/silence_search.h"
#include "audio/trim/trim_temp_file.h"
#include "settings/usage_stats.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// One trim of one recording, step by step.
class RecordingTrim {
  public:
    RecordingTrim(const std::string& path, const TrimSettings& settings, const TrimFileIo& io,
                  const TrimProgress& progress)
        : path_(path), settings_(settings), io_(io), progress_(progress) {}

    TrimOutcome Run();

  private:
    bool OpenRecording();
    bool ShortenSilences();
    bool WriteTrimmedFile();
    TrimStatus Copy(LSoundSinkBase& sink, const char*& failedTag, std::string& error);

    // Records a failure and ends the trim.
    bool Fail(const char* section, const char* tag, const std::string& error);
    bool Passed(TrimStatus status, const char* tag, const std::string& error) {
        if (status == TrimStatus::Cancelled) outcome_.status = TrimStatus::Cancelled;
        if (status == TrimStatus::Failed) Fail(kTrimSection, tag, error);
        return status == TrimStatus::Ok;
    }

    const std::string& path_;
    const TrimSettings& settings_;
    const TrimFileIo& io_;
    const TrimProgress& progress_;
    TrimOutcome outcome_;

    LSoundSource source_;
    LFile file_;  // the recording itself, held to know it is still the same file at the end
    struct stat original_ {};
    CutList cutList_;
    std::shared_ptr<LEditList> edited_;
};

bool RecordingTrim::Fail(const char* section, const char* tag, const std::string& error) {
    outcome_.status = TrimStatus::Failed;
    outcome_.section = section;
    outcome_.tag = tag;
    outcome_.error = error;
    LogError("%s %s: %s: %s", section, tag, path_.c_str(), error.c_str());
    RecordFailure(section, tag);
    return false;
}

TrimOutcome RecordingTrim::Run() {
    SweepStaleTrimFiles(DirName(path_));
    if (OpenRecording() && ShortenSilences()) {
        if (outcome_.framesAfter == outcome_.framesBefore) return outcome_;  // nothing to cut
        if (WriteTrimmedFile()) {
            outcome_.replaced = true;
            LogEvent("Removed silence from file: %s (%llu of %llu frames kept)", path_.c_str(),
                     (unsigned long long)outcome_.framesAfter,
                     (unsigned long long)outcome_.framesBefore);
        }
    }
    return outcome_;
}

bool RecordingTrim::OpenRecording() {
    std::string error;
    source_ = io_.openSource ? io_.openSource(path_, error) : LSoundSource();
    if (!source_) {
        if (error.empty()) error = "no decoder for this file";
        return Fail(kTrimSectionOpen, "OpenSourceFailed", error);
    }
    if (!file_.Open(path_, LFile::Mode::Read) || fstat(file_.Descriptor(), &original_) != 0)
        return Fail(kTrimSectionOpen, "OpenFileFailed", "cannot open the recording");
    return true;
}

bool RecordingTrim::ShortenSilences() {
    std::string error;
    TrimStatus status = BuildCutList(*source_.Get(), settings_, progress_, cutList_, error);
    if (!Passed(status, "CutListFailed", error)) return false;
    edited_ = std::make_shared<LEditList>(source_, cutList_.totalFrames);
    status = RemoveSilence(cutList_, *edited_, progress_, error);
    if (!Passed(status, "TrimFailed", error)) return false;
    outcome_.framesBefore = cutList_.totalFrames;
    outcome_.framesAfter = edited_->Length();
    return true;
}

bool RecordingTrim::WriteTrimmedFile() {
    if (!edited_->Rewind())
        return Fail(kTrimSection, "OpenTrimmedSourceFailed", edited_->LastError());
    std::string error;
    LTrimTempFile temp;  // removed again on every path but success
    if (!temp.Create(path_, error)) return Fail(kTrimSection, "OpenTrimmedSinkFailed", error);
    LSoundSink sink = io_.openSinkLike ? io_.openSinkLike(temp.Path(), path_, *source_.Get(), error)
                                       : LSoundSink();
    if (!sink) {
        if (error.empty()) error = "no writer for this format";
        return Fail(kTrimSection, "OpenTrimmedSinkFailed", error);
    }
    const char* failedTag = "";
    TrimStatus status = Copy(*sink.Get(), failedTag, error);
    if (status != TrimStatus::Ok) {
        sink->Abort();
        return Passed(status, failedTag, error);
    }
    if (!sink->Close()) return Fail(kTrimSection, "OpenTrimmedSinkFailed", sink->LastError());
    sink.Release();
    if (!temp.Replace(path_, original_, error)) return Fail(kTrimSection, "OpenFileFailed", error);
    return true;
}

// Streams the edited audio into the sink, block by block, still under the
// removal's progress text: the removal itself only edits ranges, this is where
// its time goes.
TrimStatus RecordingTrim::Copy(LSoundSinkBase& sink, const char*& failedTag, std::string& error) {
    std::vector<float> buffer(kTrimBlockFrames * edited_->Channels());
    const uint64_t total = edited_->Length();
    uint64_t copied = 0;
    for (;;) {
        progress_.Set(total ? double(copied) / double(total) : 1.0);
        if (progress_.Cancelled()) return TrimStatus::Cancelled;
        const int64_t got = edited_->Read(buffer.data(), kTrimBlockFrames);
        if (got < 0) {
            failedTag = "OpenTrimmedSourceFailed";
            error = edited_->LastError();
            return TrimStatus::Failed;
        }
        if (got == 0) break;
        if (sink.Write(buffer.data(), uint64_t(got)) != got) {
            failedTag = "OpenTrimmedSinkFailed";
            error = sink.LastError().empty() ? "the trimmed file could not be written"
                                             : sink.LastError();
            return TrimStatus::Failed;
        }
        copied += uint64_t(got);
    }
    if (copied != total) {
        failedTag = "OpenTrimmedSourceFailed";
        error = StringPrintf("only %llu of %llu frames could be read back",
                             (unsigned long long)copied, (unsigned long long)total);
        return TrimStatus::Failed;
    }
    return TrimStatus::Ok;
}
}  // namespace

TrimOutcome TrimRecording(const std::string& path, const TrimSettings& settings,
                          const TrimFileIo& io, const TrimProgress& progress) {
    return RecordingTrim(path, settings, io, progress).Run();
}

TrimOutcome TrimAfterRecording(const std::string& path, const TrimProgress& progress,
                               const TrimFileIo& io) {
    return TrimRecording(path, ReadAfterRecordingTrimSettings(), io, progress);
}

}  // namespace vocarta
