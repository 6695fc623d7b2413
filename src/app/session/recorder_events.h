#pragma once
// The recorder's notifications as the session takes them. The recorder calls
// them on the main thread from Poll (timer 1120, or its wake-up signal) and from
// Stop; each goes to one of the session's public operations.
//
// Threading contract: main thread only.

#include <vector>

#include "app/lmain_loop.h"
#include "app/session/main_dialog.h"
#include "audio/capture/sound_recorder.h"

namespace vocarta {

class RecorderEvents final : public LSoundRecorderNotify {
  public:
    RecorderEvents(MainDialog& dialog, LMainLoop& loop) : dialog_(dialog), loop_(loop) {}

    void OnRecordingStarted(int64_t) override { dialog_.OnRecordingStarted(); }
    void OnWaitingForSound(int64_t) override { dialog_.OnVoiceTimeout(voiceActivated); }
    void OnStopped(int64_t) override { dialog_.OnRecorderStopped(); }
    void OnTimeUpdate(LSoundTime recordedLength, int64_t) override {
        dialog_.OnRecorderProgress(recordedLength.Milliseconds());
    }
    void OnLevelsUpdate(const LLevels& levels, int64_t) override {
        std::vector<int> values;
        for (int i = 0; i < levels.Count(); ++i) values.push_back(levels[i].Value());
        dialog_.OnLevels(values);
    }
    void OnAudioLost(LSoundTime lostTotal, int64_t) override {
        dialog_.OnAudioLost(lostTotal.Milliseconds());
    }
    // Posted: the failure may end the recording, which must not happen inside Poll.
    void OnFinished(int32_t result, int64_t) override {
        MainDialog* dialog = &dialog_;
        loop_.Post([dialog, result] { dialog->OnRecorderFailed(result); });
    }

    // Whether the recording that runs was started with voice activation.
    bool voiceActivated = false;

  private:
    MainDialog& dialog_;
    LMainLoop& loop_;
};

}  // namespace vocarta
