// dtmf.cpp: finding telephone key presses (DTMF) in the signal and marking
// each with a region.
//
// How the detector works: the active channels are mixed to mono and cut
// into hops of 3.25 ms. For each hop it sums the samples against the eight
// key frequencies (complex correlations with three probes around each
// frequency, the phase taken from the absolute sample index so that hops
// add up) and their energy. A
// frame is the last eight hops (26 ms, close to the 205 samples at 8 kHz
// that telephone receivers traditionally use: fine enough to part 697 from
// 770 Hz, short enough for 40 ms tones); it slides by one hop, so a frame
// costs eight additions, not a new pass over its samples. A frame names a
// key when the strongest row tone and the strongest column tone pass the
// level, twist, dominance and energy-share tests below. Runs of frames
// naming the same key, bridged over short breaks, become key presses.
//
// Where a press begins and ends: a frame passes the energy-share test once
// the tone fills about kMinEnergyShare of it (a tone filling a fraction c of
// a frame of silence puts a share c of the frame's energy into its two
// frequencies), so the first passing frame is centred close to the tone's
// start. A press spans from the centre of its first frame to the centre of
// its last, widened by half a hop on each side. The scanned range is padded
// with half a frame of silence at both ends so that tones touching an end
// are measured the same way.
//
// The scan streams the signal in blocks (bounded memory), taking the read
// lock only while a block is read. A change of the signal between blocks
// (by another thread) fails the detection rather than marking stale
// positions. Regions are made only after the whole range was scanned, so a
// cancelled or failed scan leaves the document as it was.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "audioformat.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "regions/regions_p.h"
#include "tavoaudio.h"
#include "tavoproc.h"
#include "tavoregions.h"
#include "tavoundo.h"
#include "view/state_p.h"

namespace {

// ---- detection constants -----------------------------------------------------------

// The key frequencies in Hz (ITU-T Q.23): four rows (low group) and four
// columns (high group); the key of row r and column c is kKeys[r][c].
constexpr double kRowHz[4] = {697.0, 770.0, 852.0, 941.0};
constexpr double kColumnHz[4] = {1209.0, 1336.0, 1477.0, 1633.0};
constexpr char kKeys[4][4] = {{'1', '2', '3', 'A'}, {'4', '5', '6', 'B'}, {'7', '8', '9', 'C'}, {'*', '0', '#', 'D'}};

// One hop of the sliding frame, and hops per frame: 8 x 3.25 ms = 26 ms
// (208 samples at 8 kHz). The hop sets how finely the borders of a press
// are placed (within about half a hop).
constexpr double kHopSeconds = 0.00325;
constexpr int32_t kHopsPerFrame = 8;

// Quietest tone accepted, as a peak amplitude of full scale: -45 dBFS. The
// telephone network's receivers accept tones down to -25 dBm0 (about -28
// dBFS); the 17 dB below that leave room for quiet recordings while the
// noise floor of 16-bit audio (about -96 dBFS) stays far away.
const double kMinToneAmplitude = std::pow(10.0, -45.0 / 20.0);

// Twist, the level difference of the two tones (Bellcore TR-NWT-000506 and
// EIA-464): the column tone may be up to 8 dB weaker than the row tone
// ("normal" twist, lines lose more at high frequencies) and up to 4 dB
// stronger ("reverse" twist). As power ratios.
const double kMaxNormalTwist = std::pow(10.0, -8.0 / 10.0);
const double kMaxReverseTwist = std::pow(10.0, 4.0 / 10.0);

// The winning tone of each group must stand 8 dB above every other tone of
// its group. An exact tone leaks about 23 dB below itself into the
// neighbour 73 Hz away, one 1.5% off frequency (the tolerance receivers
// must accept, ITU-T Q.24) about 13 dB into the neighbour's nearest probe,
// so real key presses pass; two tones of one group at once (no key), or a
// broad spectrum that happens to peak near a key frequency, do not.
const double kMinDominance = std::pow(10.0, 8.0 / 10.0);

// Share of the frame's energy that the two tones must carry: the
// out-of-band test that keeps speech and music out. Two exact tones carry
// all of it, two tones 1.5% off frequency still about 80%; a tone that
// fills only part of the frame carries that part (which places the borders
// of a press, see above). Voiced speech and instruments spread their
// energy over many harmonics and rarely put even a third into two partials
// that happen to sit on a row and a column frequency.
constexpr double kMinEnergyShare = 0.45;

// Shortest press kept, as measured (centre of first frame to centre of last
// frame, plus one hop). Receivers must accept tones of 40 ms and must
// reject tones of 23 ms or less (Bellcore); a 40 ms tone measures at least
// 39 ms, a 23 ms tone at most 29 ms, so 35 ms lies safely between.
constexpr double kMinPressSeconds = 0.035;

// Longest break inside a press that is bridged: a drop of up to 10 ms in a
// tone must not count as a second press, while the pause of 40 ms that
// must separate two presses of one key measures at least 34 ms. 25 ms
// lies between with a few milliseconds of measuring error to spare.
constexpr double kMaxBridgedGapSeconds = 0.025;

// Frames read per block: 64 Ki frames of float per channel read plus the
// mono mix (512 KiB), small enough to stay in cache, large enough that the
// lock and progress bookkeeping per block cost nothing.
constexpr int64_t kBlockFrames = 65536;

// The lowest rate whose band holds the highest key frequency with room to
// spare (1633 Hz needs more than 3266 Hz).
constexpr int32_t kMinRate = 4000;

// Creation flags a caller may pass (the rest are this function's business:
// per-channel regions would break "one region per press", and the undo
// joining is how the presses share one step).
constexpr uint32_t kAllowedFlags = TAVOREGION_CREATE_SELECTED | TAVOREGION_CREATE_TEMPORARY |
                                   TAVOREGION_CREATE_READ_ONLY | TAVOREGION_CREATE_ON_READ_ONLY |
                                   TAVOREGION_CREATE_NO_UNDO;

constexpr int32_t kTones = 8;   // rows 0-3, columns 4-7

// Each key frequency is measured by three probes, at the frequency and
// 0.9% below and above it; a tone counts with its best probe. Receivers
// must accept tones up to 1.5% off frequency and reject tones 3.5% off
// (ITU-T Q.24). A single probe in a 26 ms frame loses 6.8 dB on a 1633 Hz
// tone 1.5% off, which pushes the pair below the energy share; with the
// side probes no tone within 1.5% loses more than 1 dB, while a pair 3.5%
// off (2.6% from the nearest probe) still loses too much to pass it.
constexpr double kProbeOffsets[3] = {-0.009, 0.0, 0.009};
constexpr int32_t kProbesPerTone = 3;
constexpr int32_t kProbes = kTones * kProbesPerTone;   // probe p measures tone p / 3

struct KeyPress {
    int64_t begin;   // frames from the start of the scanned range
    int64_t end;
    char key;
};

// ---- the detector ------------------------------------------------------------------

// Takes mono samples in any pieces and collects the key presses found.
// Positions are frames counted from the first sample fed.
class DtmfDetector {
public:
    explicit DtmfDetector(int32_t rate)
    {
        m_hop = std::max<int32_t>(1, static_cast<int32_t>(std::lround(rate * kHopSeconds)));
        m_frame = m_hop * kHopsPerFrame;
        m_rate = rate;
        m_minPress = static_cast<int64_t>(std::llround(kMinPressSeconds * rate));
        m_maxGap = static_cast<int64_t>(std::llround(kMaxBridgedGapSeconds * rate));
        // cos/sin of each frequency over one hop; the hop's own phase is
        // applied once when it is complete.
        m_cos.resize(static_cast<size_t>(kProbes * m_hop));
        m_sin.resize(static_cast<size_t>(kProbes * m_hop));
        for (int32_t t = 0; t < kProbes; ++t) {
            const double w = 2.0 * M_PI * frequency(t) / rate;
            for (int32_t m = 0; m < m_hop; ++m) {
                m_cos[static_cast<size_t>(t * m_hop + m)] = std::cos(w * m);
                m_sin[static_cast<size_t>(t * m_hop + m)] = std::sin(w * m);
            }
        }
        // Half a frame of silence in front: frames are centred on the first
        // sample when the real samples begin.
        feedSilence(pad());
    }

    void feed(const float *samples, int64_t count)
    {
        for (int64_t i = 0; i < count; ++i) push(static_cast<double>(samples[i]));
    }

    // Ends the stream (half a frame of silence after it, so that the last
    // frames centre on the last sample) and closes the open press.
    void finish()
    {
        feedSilence(pad() + (m_hop - m_fill) % m_hop);
        closeRun();
    }

    const std::vector<KeyPress> &presses() const { return m_presses; }

private:
    static double frequency(int32_t probe)
    {
        const int32_t tone = probe / kProbesPerTone;
        return (tone < 4 ? kRowHz[tone] : kColumnHz[tone - 4]) * (1.0 + kProbeOffsets[probe % kProbesPerTone]);
    }
    int64_t pad() const { return static_cast<int64_t>(m_hop) * (kHopsPerFrame / 2); }

    void feedSilence(int64_t count)
    {
        for (int64_t i = 0; i < count; ++i) push(0.0);
    }

    void push(double x)
    {
        for (int32_t t = 0; t < kProbes; ++t) {
            m_re[t] += x * m_cos[static_cast<size_t>(t * m_hop + m_fill)];
            m_im[t] -= x * m_sin[static_cast<size_t>(t * m_hop + m_fill)];
        }
        m_energy += x * x;
        if (++m_fill == m_hop) endHop();
    }

    void endHop()
    {
        // The hop's correlation, turned to the phase of its first sample so
        // that the hops of a frame add up to the frame's correlation. The
        // phase is reduced (f * n mod rate) before the cosine, so hours of
        // audio lose no precision.
        const int64_t start = m_hops * m_hop;
        Hop &slot = m_ring[m_hops % kHopsPerFrame];
        for (int32_t t = 0; t < kProbes; ++t) {
            const double turns = std::fmod(frequency(t) * static_cast<double>(start), static_cast<double>(m_rate));
            const double phase = 2.0 * M_PI * turns / m_rate;
            const double c = std::cos(phase);
            const double s = -std::sin(phase);
            slot.re[t] = m_re[t] * c - m_im[t] * s;
            slot.im[t] = m_re[t] * s + m_im[t] * c;
            m_re[t] = 0.0;
            m_im[t] = 0.0;
        }
        slot.energy = m_energy;
        m_energy = 0.0;
        m_fill = 0;
        ++m_hops;
        if (m_hops < kHopsPerFrame) return;
        // The frame of the last kHopsPerFrame hops starts at (m_hops - 8)
        // hops in the padded stream; its centre, in frames of the real
        // stream, is therefore at (m_hops - 8) hops.
        const int64_t centre = (m_hops - kHopsPerFrame) * m_hop;
        track(classify(), centre);
    }

    // The key of the current frame (index row * 4 + column) or -1.
    int32_t classify() const
    {
        double re[kProbes] = {};
        double im[kProbes] = {};
        double energy = 0.0;
        for (const Hop &hop : m_ring) {
            for (int32_t p = 0; p < kProbes; ++p) {
                re[p] += hop.re[p];
                im[p] += hop.im[p];
            }
            energy += hop.energy;
        }
        if (!(energy > 0.0)) return -1;
        // Energy of each tone in the frame: a sinusoid of amplitude a gives
        // |X| = a N / 2 and the energy a^2 N / 2, so energy = 2 |X|^2 / N.
        double power[kTones] = {};
        for (int32_t p = 0; p < kProbes; ++p) {
            const double e = 2.0 * (re[p] * re[p] + im[p] * im[p]) / m_frame;
            double &tone = power[p / kProbesPerTone];
            tone = std::max(tone, e);
        }
        const int32_t row = static_cast<int32_t>(std::max_element(power, power + 4) - power);
        const int32_t column = 4 + static_cast<int32_t>(std::max_element(power + 4, power + 8) - (power + 4));
        const double rowPower = power[row];
        const double columnPower = power[column];
        // Amplitude floor: a^2 = 2 * energy / N.
        const double minPower = kMinToneAmplitude * kMinToneAmplitude * m_frame / 2.0;
        if (rowPower < minPower || columnPower < minPower) return -1;
        if (columnPower < rowPower * kMaxNormalTwist || columnPower > rowPower * kMaxReverseTwist) return -1;
        for (int32_t t = 0; t < kTones; ++t) {
            if (t == row || t == column) continue;
            const double winner = t < 4 ? rowPower : columnPower;
            if (power[t] * kMinDominance > winner) return -1;
        }
        if (rowPower + columnPower < kMinEnergyShare * energy) return -1;
        return row * 4 + (column - 4);
    }

    // Follows runs of frames naming one key; `centre` is the frame's centre.
    void track(int32_t key, int64_t centre)
    {
        const bool open = m_runKey >= 0;
        const int64_t gap = open ? centre - m_runLast - m_hop : 0;   // frames without the key
        if (key >= 0) {
            if (open && key == m_runKey && gap <= m_maxGap) {
                m_runLast = centre;
                return;
            }
            closeRun();
            m_runKey = key;
            m_runFirst = centre;
            m_runLast = centre;
            return;
        }
        if (open && gap > m_maxGap) closeRun();
    }

    void closeRun()
    {
        if (m_runKey < 0) return;
        // Each passing frame stands for the hop around its centre.
        const int64_t begin = std::max<int64_t>(0, m_runFirst - m_hop / 2);
        const int64_t end = m_runLast + (m_hop - m_hop / 2);
        if (end - begin >= m_minPress) m_presses.push_back({begin, end, kKeys[m_runKey / 4][m_runKey % 4]});
        m_runKey = -1;
    }

    struct Hop {
        double re[kProbes] = {};
        double im[kProbes] = {};
        double energy = 0.0;
    };

    int32_t m_rate = 0;
    int32_t m_hop = 1;              // samples per hop
    int32_t m_frame = 1;            // samples per frame (kHopsPerFrame hops)
    int64_t m_minPress = 0;         // frames
    int64_t m_maxGap = 0;           // frames
    std::vector<double> m_cos;      // [probe][sample of the hop]
    std::vector<double> m_sin;
    double m_re[kProbes] = {};      // the hop being filled
    double m_im[kProbes] = {};
    double m_energy = 0.0;
    int32_t m_fill = 0;             // samples in the hop being filled
    int64_t m_hops = 0;             // hops completed
    Hop m_ring[kHopsPerFrame];      // the last hops, by m_hops % kHopsPerFrame
    int32_t m_runKey = -1;          // key of the open run, -1 when none
    int64_t m_runFirst = 0;         // centres of its first and last frame
    int64_t m_runLast = 0;
    std::vector<KeyPress> m_presses;
};

// ---- the command -------------------------------------------------------------------

int32_t fail(TavoDocument *doc, uint32_t audioError)
{
    doc->lastError = _TranslateAudioSignalError(audioError);
    return -1;
}

// How a scan ended.
enum class ScanResult { Done, Cancelled, Busy, ReadFailed, OutOfMemory };

// Reads frames [begin, end) block by block, mixes the active channels and
// feeds them to the detector, reporting progress. The read lock is held
// only while a block is read.
ScanResult scan(TavoDocument *doc, AUDIOSIGNAL signal, uint64_t stamp, int64_t begin, int64_t end,
                DtmfDetector &detector)
{
    const int32_t channels = AUDIOSIGNAL_NumChannels(signal);
    std::vector<float> read(static_cast<size_t>(std::min(kBlockFrames, end - begin)));
    std::vector<float> mono(read.size());
    const int64_t total = end - begin;
    for (int64_t at = begin; at < end;) {
        const int64_t count = std::min(kBlockFrames, end - at);
        {
            TavoDocReadLock lock(doc);
            if (!lock) return ScanResult::Busy;
            if (_TAVOAUDIO_Signal(doc) != signal ||
                AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT) != stamp)
                return ScanResult::Busy;
            std::fill(mono.begin(), mono.begin() + count, 0.0f);
            int32_t used = 0;
            for (int32_t ch = 0; ch < channels; ++ch) {
                if (!AUDIOSIGNAL_ChannelActive(signal, ch)) continue;
                if (AUDIOSIGNAL_GetChannelSamplesEx(signal, ch, at, count, read.data()) < 0)
                    return ScanResult::ReadFailed;
                for (int64_t i = 0; i < count; ++i) mono[static_cast<size_t>(i)] += read[static_cast<size_t>(i)];
                ++used;
            }
            // The mean keeps full-scale tones at full scale, so the level
            // floor means the same for one channel or many.
            if (used > 1) {
                const float scale = 1.0f / static_cast<float>(used);
                for (int64_t i = 0; i < count; ++i) mono[static_cast<size_t>(i)] *= scale;
            }
        }
        detector.feed(mono.data(), count);
        at += count;
        if (!TAVOAUDIO_ProcessUpdateProgress(doc, static_cast<double>(at - begin) / static_cast<double>(total)))
            return ScanResult::Cancelled;
    }
    return ScanResult::Done;
}

// Takes back the regions made so far when a later one could not be made:
// the undo step they share is taken off the stack and run, or, without a
// step of their own (no undo, or a group of the caller's collecting them),
// they are taken out of the signal.
void takeBack(TavoDocument *doc, TAVOUNDOSCRIPT step, const std::vector<AUDIOREGION> &made)
{
    if (made.empty()) return;
    {
        RegionEditAccess access(doc);
        if (!access) return;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (signal == nullptr) return;
        if (step != nullptr && TAVOUNDO_NextUndoScript(doc) == step) {
            TAVOUNDO_PopUndoScript(doc);
            _TAVOREGIONS_Rollback(doc, step);
        } else {
            for (AUDIOREGION region : made) {
                _TAVOREGIONS_DropFocusIf(doc, region);
                _TAVOREGIONS_DropHighlightIf(doc, region);
                AUDIOSIGNAL_DeleteRegion(signal, region, AUDIOSIGNAL_DELETE_FOR_GOOD);
            }
        }
    }
    _TAVOREGIONS_After(doc, false, nullptr);
}

// Makes the regions, all in one undo step: the first creation opens the
// step (labelled `label`), the others join it. Inside a group the caller
// opened, every creation lands in the group anyway, and joining would reach
// past it to the stack, so nothing is joined there.
int32_t createRegions(TavoDocument *doc, const char *trackUniqId, int64_t offset,
                      const std::vector<KeyPress> &presses, uint32_t flags, const char *label)
{
    const bool noUndo = (flags & TAVOREGION_CREATE_NO_UNDO) != 0;
    const bool grouped = TAVOAUDIO_HasUndoableOperation(doc);
    std::vector<AUDIOREGION> made;
    made.reserve(presses.size());
    TAVOUNDOSCRIPT step = nullptr;
    for (const KeyPress &press : presses) {
        uint32_t createFlags = flags;
        if (!noUndo && !grouped && !made.empty()) {
            // Join only our own step: should anything have pushed another
            // step meanwhile, the presses would end up split over steps.
            TAVOUNDOSCRIPT newest = nullptr;
            {
                TavoDocReadLock lock(doc);
                if (lock) newest = TAVOUNDO_NextUndoScript(doc);
            }
            if (newest != step) {
                takeBack(doc, step, made);
                return fail(doc, AUDIO_ERROR_BUSY);
            }
            createFlags |= TAVOREGION_CREATE_JOIN_UNDO;
        }
        char text[16];
        std::snprintf(text, sizeof text, "DTMF: %c", press.key);
        AUDIOREGION region = TAVOAUDIO_CreateRegionEx2(doc, trackUniqId, offset + press.begin, offset + press.end,
                                                       "undef", text, nullptr, createFlags, label);
        if (region == nullptr) {
            takeBack(doc, step, made);
            // CreateRegionEx2 refuses quietly; keep a reason for the caller.
            if (doc->lastError == 0) doc->lastError = _TranslateAudioSignalError(AUDIO_ERROR_READ_ONLY);
            return -1;
        }
        if (!noUndo && !grouped && made.empty()) {
            TavoDocReadLock lock(doc);
            if (lock) step = TAVOUNDO_NextUndoScript(doc);
        }
        made.push_back(region);
    }
    return static_cast<int32_t>(made.size());
}

}  // namespace

TAVO_API int32_t TAVOAUDIO_DetectDtmfEx(TAVOAUDIO audio, int64_t begin, int64_t end, const char *trackUniqId,
                                        uint32_t flags, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return -1;
    if (doc->state == nullptr) return fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    if (trackUniqId != nullptr && trackUniqId[0] == '\0') trackUniqId = nullptr;   // "" is track 0 too
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return fail(doc, AUDIO_ERROR_EMPTY);
    if ((flags & ~kAllowedFlags) != 0) return fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    const int32_t rate = AUDIOSIGNAL_SampleRate(signal);
    if (rate < kMinRate) return fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);

    // The same track rules as TAVOAUDIO_CreateRegionEx2, asked before the
    // scan so that a refusal costs nothing.
    uint64_t stamp = 0;
    int64_t length = 0;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return fail(doc, AUDIO_ERROR_BUSY);
        length = AUDIOSIGNAL_NumFrames(signal);
        stamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT);
        if (AUDIOSIGNAL_FindRegionTrackIndex(signal, trackUniqId) < 0) return fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
        if (trackUniqId != nullptr && AUDIOSIGNAL_ContainsTrackUniqId(signal, trackUniqId) &&
            AUDIOCUSTOMTRACK_IsReadOnly(AUDIOSIGNAL_FindCustomTrack(signal, trackUniqId)) &&
            (flags & TAVOREGION_CREATE_ON_READ_ONLY) == 0)
            return fail(doc, AUDIO_ERROR_READ_ONLY);
    }
    if (end < 0) end = length;
    if (begin < 0 || begin > end || end > length) return fail(doc, AUDIO_ERROR_OUT_OF_RANGE);
    if (begin == end) return 0;

    const char *stepLabel = label != nullptr && label[0] != '\0' ? label : "Detect DTMF";
    TAVOAUDIO_SetProcessLabel(audio, stepLabel);
    // A start refused because a cancel is pending counts as cancelled.
    if (!TAVOAUDIO_ProcessStart(audio, true)) return fail(doc, AUDIO_ERROR_CANCELLED);
    ScanResult result = ScanResult::Cancelled;
    std::vector<KeyPress> presses;
    if (TAVOAUDIO_ProcessUpdateProgress(audio, 0.0)) {
        try {
            DtmfDetector detector(rate);
            result = scan(doc, signal, stamp, begin, end, detector);
            if (result == ScanResult::Done) {
                detector.finish();
                presses = detector.presses();
            }
        } catch (const std::bad_alloc &) {
            result = ScanResult::OutOfMemory;
        }
    }
    TAVOAUDIO_ProcessFinish(audio, result == ScanResult::Cancelled);
    switch (result) {
    case ScanResult::Done: break;
    case ScanResult::Cancelled: return fail(doc, AUDIO_ERROR_CANCELLED);
    case ScanResult::Busy: return fail(doc, AUDIO_ERROR_BUSY);   // also: the signal changed meanwhile
    case ScanResult::ReadFailed: return fail(doc, AUDIO_ERROR_CORRUPT_DATA);
    case ScanResult::OutOfMemory: return fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
    }

    // Presses measured past the range's end (into the padding) end with it.
    for (KeyPress &press : presses) press.end = std::min(press.end, end - begin);
    std::erase_if(presses, [](const KeyPress &press) { return press.end <= press.begin; });
    if (presses.empty()) return 0;
    doc->lastError = 0;
    try {
        return createRegions(doc, trackUniqId, begin, presses, flags, stepLabel);
    } catch (const std::bad_alloc &) {
        return fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
    }
}
