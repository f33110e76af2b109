// The signal object behind an AUDIOSIGNAL handle, and the internal calls
// that the file and operation modules of this library build on.
#ifndef AUDIOSIG_SIGNAL_P_H
#define AUDIOSIG_SIGNAL_P_H

#include "audiosignal.h"
#include "storage.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

namespace asig {

// Regions, region tracks and metadata live beside the samples; they are
// defined by the region and metadata modules. A duplicate copies them with
// their copy functions (see signal.cpp).
struct RegionData;
struct MetadataData;

// A deep copy of a signal's region data for its duplicate `owner`: the
// regions keep their identities, no region object is shared (region.cpp).
// Null for null data or when out of memory.
std::shared_ptr<RegionData> copyRegionData(const RegionData *data, AUDIOSIGNAL owner);

// A copy of a signal's metadata object for its duplicate `owner`: the tags
// are edited in place through the object's handle, so no two signals share
// one (values and artwork bytes are shared, they never change in place;
// metadata.cpp). Null for null data; throws std::bad_alloc.
std::shared_ptr<MetadataData> copyMetadataData(const MetadataData *data, AUDIOSIGNAL owner);

// A new content stamp: one process-wide counter, so stamps of different
// signals are ordered too.
uint64_t nextStamp();

} // namespace asig

// Invariants: m_channels.size() == m_format.numChannels; every channel has
// m_frames frames; m_activeMask has at least one of the signal's channels.
struct AudioSignalObject {
    std::atomic<int32_t> m_references{1};

    // m_mutex guards every field below. Readers take it shared for the time
    // of one query; a change takes it exclusively only to swap in what was
    // built outside it. Never held while calling the parent or notifying.
    mutable std::shared_mutex m_mutex;
    AUDIO_FORMAT m_format{};
    std::vector<asig::SpanList> m_channels;
    int64_t m_frames = 0;
    uint64_t m_activeMask = 0;
    uint64_t m_structureVersion = 0;  // advanced by every change of the channels

    // Time records: content stamp, saved stamp, file stamp.
    uint64_t m_time[3] = {0, 0, 0};
    uint32_t m_pendingChanges = 0;  // AUDIOSIGNAL_CHANGE_ kinds since load or save
    int64_t m_sizeOnDisk = -1;

    bool m_readOnly = false;
    std::string m_label;
    void *m_parent = nullptr;
    AUDIOSIGNAL_CALLBACK m_callback = nullptr;

    std::shared_ptr<asig::RegionData> m_regions;
    std::shared_ptr<asig::MetadataData> m_metadata;
};

// ---- internal calls (thread rules as in audiosignal.h) ---------------------

// A new signal (one reference) of `format` with the given channels, which
// must all have the same length and be as many as the format's channels.
// Null when they are not.
AUDIOSIGNAL _AUDIOSIGNAL_Create(const AUDIO_FORMAT &format, std::vector<asig::SpanList> channels);

// A copy of one channel's list (cheap: shares the chunks). Empty for a bad
// channel.
asig::SpanList _AUDIOSIGNAL_Channel(AUDIOSIGNAL signal, int32_t channel);
std::vector<asig::SpanList> _AUDIOSIGNAL_Channels(AUDIOSIGNAL signal);

// Replaces all channels (and the format when `format` is not null) in one
// step, advances the content stamp and records an audio change. The
// channels must be consistent as for _AUDIOSIGNAL_Create. False (nothing
// changed) when they are not or the signal is read-only.
bool _AUDIOSIGNAL_SetChannels(AUDIOSIGNAL signal, std::vector<asig::SpanList> channels,
                              const AUDIO_FORMAT *format);

// Sends a notification of this library for `signal` (source: its parent)
// and returns the answer (1 when nobody objects).
int32_t _AUDIOSIGNAL_Notify(AUDIOSIGNAL signal, int32_t kind, int64_t identifier, void *arg2);

// A long operation's reports: started at construction, progress through
// update() (false once a handler asked to stop), finished or cancelled at
// finish(). Kinds are one of the AUDIO_NOTIFY_ families (READ, WRITE,
// PROCESS). Progress is sent at most every 1% and every 50 ms, so that
// reports cost nothing next to the work.
class ProgressReport {
public:
    enum class Family { Read, Write, Process };
    ProgressReport(AUDIOSIGNAL signal, void *source, Family family);
    ~ProgressReport();
    bool update(double fraction);
    void step(const char *text);
    void finish(bool cancelled);
    bool cancelled() const { return m_cancelled; }
    int64_t identifier() const { return m_identifier; }

private:
    AUDIOSIGNAL m_signal;
    void *m_source;
    Family m_family;
    int64_t m_identifier;
    double m_lastFraction = -1.0;
    int64_t m_lastTime = 0;
    bool m_cancelled = false;
    bool m_finished = false;
};

// The tag a format name stands for (names compared ignoring case, aliases
// such as "WAVE" and "AIF" included); -1 for a name no format text knows.
// "AUTO" and "FROM_FORMAT" give AUDIO_FORMATTAG_NONE.
int16_t _AUDIO_TagFromName(const char *name);

// The sample type that stores a format's samples natively.
asig::SampleType _AUDIO_SampleTypeOf(const AUDIO_FORMAT &format);

#endif
