// Display queries: min/max and sums of squares along an audio pointer.
#include "signal_p.h"

#include <algorithm>
#include <mutex>

namespace {

// Stats of the pointer's next `count` frames, advancing it. Each query
// takes the signal's lock shared for its own duration only.
asig::Stats advance(AUDIOPOINTER *pointer, int64_t count)
{
    asig::Stats stats;
    AUDIOSIGNAL signal = pointer->signal;
    {
        const std::shared_lock<std::shared_mutex> lock(signal->m_mutex);
        if (pointer->channel >= 0 && size_t(pointer->channel) < signal->m_channels.size())
            stats = signal->m_channels[size_t(pointer->channel)].stats(pointer->position, count);
    }
    pointer->position += count;
    return stats;
}

} // namespace

bool AUDIOSIGNAL_InitAudioPointer(AUDIOSIGNAL signal, int32_t channel, int64_t frame, AUDIOPOINTER *pointer)
{
    if (signal == nullptr || pointer == nullptr || channel < 0 || channel >= AUDIOSIGNAL_NumChannels(signal))
        return false;
    *pointer = AUDIOPOINTER{signal, channel, frame};
    return true;
}

bool AUDIOSIGNAL_SeekAudioPointer(AUDIOPOINTER *pointer, int64_t frame)
{
    if (pointer == nullptr || pointer->signal == nullptr) return false;
    pointer->position = frame;
    return true;
}

bool AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(AUDIOPOINTER *pointer, int64_t count, float *minimum, float *maximum)
{
    if (minimum != nullptr) *minimum = 0.0f;
    if (maximum != nullptr) *maximum = 0.0f;
    if (pointer == nullptr || pointer->signal == nullptr || count <= 0) return false;
    const asig::Stats stats = advance(pointer, count);
    if (stats.frames == 0) return false;
    if (minimum != nullptr) *minimum = stats.min;
    if (maximum != nullptr) *maximum = stats.max;
    return true;
}

bool AUDIOSIGNAL_DisplaySum2FromAudioPointer(AUDIOPOINTER *pointer, int64_t count, double *sum2, int64_t *frames)
{
    if (sum2 != nullptr) *sum2 = 0.0;
    if (frames != nullptr) *frames = 0;
    if (pointer == nullptr || pointer->signal == nullptr || count <= 0) return false;
    const asig::Stats stats = advance(pointer, count);
    if (sum2 != nullptr) *sum2 = stats.sum2;
    if (frames != nullptr) *frames = stats.frames;
    return stats.frames > 0;
}
