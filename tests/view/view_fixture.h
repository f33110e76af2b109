// view_fixture.h: a ten-second mono sine document and an event recorder
// for the view tests.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "../common/document_fixture.h"
#include "blnotify.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "tavoutil.h"
#include "tavozoom.h"

namespace viewtest {

struct Event {
    int32_t kind;
    double a;   // first argument as seconds (or as a float range bound)
    double b;
};

// Records every event of the document; answers `answer` to the kinds in
// `veto` and 1 to everything else.
class Recorder {
public:
    explicit Recorder(TAVOAUDIO doc) : m_doc(doc)
    {
        TAVOAUDIO_AddEventHandler(m_doc, BLNOTIFY_ANY_KIND, &Recorder::handle, this);
    }
    ~Recorder() { TAVOAUDIO_DelEventHandler(m_doc, BLNOTIFY_ANY_KIND, &Recorder::handle, this); }

    std::vector<Event> events;
    std::vector<int32_t> veto;

    std::vector<int32_t> kinds() const
    {
        std::vector<int32_t> out;
        for (const Event &e : events) out.push_back(e.kind);
        return out;
    }

private:
    static int32_t handle(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<Recorder *>(user);
        Event e{event->kind, 0.0, 0.0};
        const int32_t k = event->kind;
        if ((k >= TAVOAUDIO_BEFORE_HORZ_ZOOM_CHANGE && k <= TAVOAUDIO_HORZ_ZOOM_LIMIT_CHANGED) ||
            k == TAVOAUDIO_CURSOR_SET_POSITION || k == TAVOAUDIO_CURSOR_CHANGE_POSITION) {
            e.a = event->arg1 != nullptr ? *static_cast<double *>(event->arg1) : 0.0;
            e.b = event->arg2 != nullptr ? *static_cast<double *>(event->arg2) : 0.0;
        } else if (k >= TAVOAUDIO_BEFORE_VERT_ZOOM_CHANGE && k <= TAVOAUDIO_SPECTRAL_ZOOM_CHANGE) {
            e.a = *static_cast<float *>(event->arg1);
            e.b = *static_cast<float *>(event->arg2);
        } else if (k == TAVOAUDIO_WAS_CHANGED) {
            e.a = static_cast<double>(reinterpret_cast<uintptr_t>(event->arg1));
        }
        self->events.push_back(e);
        for (int32_t v : self->veto)
            if (v == k) return 0;
        return 1;
    }

    TAVOAUDIO m_doc;
};

class ViewTest : public ::testing::Test {
protected:
    static constexpr int64_t kFrames = 441000;   // 10 s at 44100 Hz
    TAVOAUDIO doc = tavotest::MakeSineDocument(44100, 1, 10.0);
    ~ViewTest() override { TAVOAUDIO_Close(doc); }
    void SetUp() override { ASSERT_NE(doc, nullptr); }

    int64_t begin() const { return TAVOAUDIO_ViewBegin(doc); }
    int64_t end() const { return TAVOAUDIO_ViewEnd(doc); }
};

}  // namespace viewtest
