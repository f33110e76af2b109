// doc_helpers.h: the headers of the edit and region suites, readers of a
// document's samples, selections and undo label, an event recorder and a
// scratch folder.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <map>
#include <memory>
#include <type_traits>
#include <string>
#include <utility>
#include <vector>

#include "audioregion.h"
#include "audiosignal.h"
#include "blnotify.h"
#include "blsettings.h"
#include "document_fixture.h"
#include "edit_helpers.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavonotify.h"
#include "tavoregions.h"
#include "tavoselection.h"
#include "tavoundo.h"
#include "tavozoom.h"

namespace tavotest {

using Ranges = std::vector<std::pair<int64_t, int64_t>>;

inline std::vector<float> Samples(TAVOAUDIO doc, int32_t channel = 0)
{
    return Channel(TAVOAUDIO_GetAudioSignal(doc), channel);
}

inline int64_t Frames(TAVOAUDIO doc) { return AUDIOSIGNAL_NumFrames(TAVOAUDIO_GetAudioSignal(doc)); }

inline std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

inline Ranges Selections(TAVOAUDIO doc)
{
    Ranges out;
    for (int32_t i = 0; i < TAVOAUDIO_CountSelections(doc); ++i) {
        const TAVOSELECTION s = TAVOAUDIO_Selection(doc, i);
        out.emplace_back(TAVOSELECTION_GetBegin(doc, &s), TAVOSELECTION_GetEnd(doc, &s));
    }
    return out;
}

// A signal destroyed when it goes out of scope.
struct SignalDeleter {
    void operator()(AUDIOSIGNAL signal) const { AUDIOSIGNAL_Destroy(signal); }
};
using Signal = std::unique_ptr<std::remove_pointer_t<AUDIOSIGNAL>, SignalDeleter>;

// Replaces the selections of `doc` with `ranges`.
inline bool Select(TAVOAUDIO doc, const Ranges &ranges)
{
    bool ok = !ranges.empty();
    for (size_t i = 0; ok && i < ranges.size(); ++i)
        ok = (i == 0 ? TAVOAUDIO_SelectAudioEx(doc, ranges[i].first, ranges[i].second, -1, 0)
                     : TAVOAUDIO_AddSelectionEx(doc, ranges[i].first, ranges[i].second, -1, 0)) == 1;
    return ok;
}

// Counts events by kind, answers `answers[kind]` (1 otherwise) and keeps the
// seconds of cursor moves.
struct Events {
    std::map<int32_t, int> counts;
    std::map<int32_t, int32_t> answers;
    std::vector<double> cursorSeconds;

    static int32_t Handler(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<Events *>(user);
        self->counts[event->kind]++;
        if (event->kind == TAVOAUDIO_CURSOR_CHANGE_POSITION && event->arg1 != nullptr)
            self->cursorSeconds.push_back(*static_cast<double *>(event->arg1));
        const auto it = self->answers.find(event->kind);
        return it != self->answers.end() ? it->second : 1;
    }
    int count(int32_t kind) const
    {
        const auto it = counts.find(kind);
        return it != counts.end() ? it->second : 0;
    }
    int total() const
    {
        int sum = 0;
        for (const auto &entry : counts) sum += entry.second;
        return sum;
    }
};

// A fresh folder under the temporary directory, removed with its contents.
struct TempFolder {
    std::filesystem::path path;
    TempFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tavo-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) path = pattern;
    }
    ~TempFolder()
    {
        std::error_code ignored;
        if (!path.empty()) std::filesystem::remove_all(path, ignored);
    }
    std::string file(const std::string &name) const { return (path / name).string(); }
};

}  // namespace tavotest
