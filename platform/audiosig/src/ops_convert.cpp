// Rate and channel conversion (soxr for the rate), and
// AUDIOSIGNAL_ConvertFormat.
#include "ops_convert.h"

#include "audioops.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <type_traits>
#include <vector>

namespace asig::ops {

namespace {

struct SoxrDeleter {
    void operator()(soxr_t resampler) const { soxr_delete(resampler); }
};
using Resampler = std::unique_ptr<std::remove_pointer_t<soxr_t>, SoxrDeleter>;

// Output buffer of one soxr call: one block, so a call's output goes into
// the builder in pieces the size of the blocks it makes.
constexpr size_t kOutputFrames = static_cast<size_t>(kBlockFrames);

// Resamples one list. Returns 0 or error bits; `out` gets exactly
// resampledFrames() frames (soxr compensates its own delay; a frame or two
// missing at the end after the flush is padded with silence).
uint32_t resampleList(const SpanList &list, int32_t fromRate, int32_t toRate, Work *work, SpanList &out)
{
    const int64_t frames = list.frames();
    const int64_t expected = resampledFrames(frames, fromRate, toRate);
    soxr_error_t failure = nullptr;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    Resampler resampler(soxr_create(fromRate, toRate, 1, &failure, &io, &quality, nullptr));
    if (resampler == nullptr || failure != nullptr) return AUDIO_ERROR_OUT_OF_MEMORY;

    // Input per call: as much as fills about one output buffer, so that
    // upsampling does not pile up output.
    const double ratio = static_cast<double>(toRate) / static_cast<double>(fromRate);
    const int64_t inputFrames =
        std::clamp<int64_t>(static_cast<int64_t>(static_cast<double>(kOutputFrames) / std::max(1.0, ratio)), 1,
                            kBlockFrames);
    std::vector<float> input(static_cast<size_t>(inputFrames));
    std::vector<float> output(kOutputFrames);
    SpanBuilder builder(SampleType::F32);
    int64_t produced = 0;
    auto keep = [&](size_t count) {
        const int64_t n = std::min<int64_t>(static_cast<int64_t>(count), expected - produced);
        if (n > 0) {
            builder.pushNative(output.data(), n, sizeof(float));
            produced += n;
        }
    };

    for (int64_t position = 0; position < frames;) {
        const int64_t count = std::min(inputFrames, frames - position);
        list.readFloat(position, count, input.data());
        size_t offset = 0;
        while (offset < static_cast<size_t>(count)) {
            size_t used = 0;
            size_t made = 0;
            failure = soxr_process(resampler.get(), input.data() + offset, static_cast<size_t>(count) - offset,
                                   &used, output.data(), output.size(), &made);
            if (failure != nullptr) return AUDIO_ERROR_OUT_OF_MEMORY;
            // A call that neither takes input nor gives output would repeat
            // forever: the resampler is stuck, give up.
            if (used == 0 && made == 0) return AUDIO_ERROR_INCOMPATIBLE;
            keep(made);
            offset += used;
        }
        position += count;
        if (work != nullptr && !work->advance(static_cast<double>(count))) return AUDIO_ERROR_CANCELLED;
    }
    // Flush what the filter still holds.
    for (;;) {
        size_t made = 0;
        failure = soxr_process(resampler.get(), nullptr, 0, nullptr, output.data(), output.size(), &made);
        if (failure != nullptr) return AUDIO_ERROR_OUT_OF_MEMORY;
        keep(made);
        if (made == 0 || produced >= expected) break;
    }
    if (produced < expected) builder.pushZeros(expected - produced);
    out = builder.finish();
    return AUDIO_ERROR_NONE;
}

bool isSilent(const SpanList &list)
{
    bool silent = true;
    list.forEach(0, list.frames(), [&](const Span &span) { silent = silent && span.block->type() == SampleType::Zero; });
    return silent;
}

bool isUnitRow(const std::vector<double> &row, size_t &which)
{
    size_t ones = 0;
    for (size_t j = 0; j < row.size(); ++j) {
        if (row[j] == 1.0) {
            ++ones;
            which = j;
        } else if (row[j] != 0.0) {
            return false;
        }
    }
    return ones == 1;
}

bool isZeroRow(const std::vector<double> &row)
{
    return std::all_of(row.begin(), row.end(), [](double g) { return g == 0.0; });
}

// A list mixing `in` with one gain per list.
SpanList mixList(const std::vector<SpanList> &in, const std::vector<double> &gains, Work *work)
{
    const int64_t frames = in.empty() ? 0 : in.front().frames();
    std::vector<float> buffer;
    return produceList(
        frames,
        [&](int64_t position, int64_t count, float *out) {
            std::fill(out, out + count, 0.0f);
            buffer.resize(static_cast<size_t>(count));
            for (size_t j = 0; j < in.size(); ++j) {
                if (gains[j] == 0.0) continue;
                in[j].readFloat(position, count, buffer.data());
                for (int64_t i = 0; i < count; ++i) {
                    out[i] = static_cast<float>(out[i] + gains[j] * buffer[static_cast<size_t>(i)]);
                }
            }
        },
        work);
}

// The mix of the default rule for `toCount` outputs of `fromCount` inputs.
MixMatrix defaultMix(size_t fromCount, size_t toCount)
{
    MixMatrix mix(toCount, std::vector<double>(fromCount, 0.0));
    if (fromCount == 1) {
        for (auto &row : mix) row[0] = 1.0;
    } else if (toCount == 1) {
        for (double &g : mix[0]) g = 1.0 / static_cast<double>(fromCount);
    } else {
        for (size_t c = 0; c < std::min(fromCount, toCount); ++c) mix[c][c] = 1.0;
    }
    return mix;
}

// Frames of work mixing takes: one pass per row that is neither a copy nor
// silence.
int64_t mixRows(const MixMatrix &mix)
{
    int64_t rows = 0;
    size_t which = 0;
    for (const auto &row : mix) {
        if (!isUnitRow(row, which) && !isZeroRow(row)) ++rows;
    }
    return rows;
}

uint32_t mixChannels(const std::vector<SpanList> &in, const MixMatrix &mix, Work *work, std::vector<SpanList> &out)
{
    const int64_t frames = in.empty() ? 0 : in.front().frames();
    out.clear();
    for (const auto &row : mix) {
        size_t which = 0;
        if (isUnitRow(row, which)) {
            out.push_back(in[which]);
        } else if (isZeroRow(row)) {
            out.push_back(silentList(frames));
        } else {
            out.push_back(mixList(in, row, work));
            if (work != nullptr && work->cancelled()) return AUDIO_ERROR_CANCELLED;
        }
    }
    return AUDIO_ERROR_NONE;
}

} // namespace

int64_t resampledFrames(int64_t frames, int32_t fromRate, int32_t toRate)
{
    if (fromRate == toRate || fromRate <= 0) return frames;
    const __int128 scaled = static_cast<__int128>(frames) * toRate + fromRate / 2;
    return static_cast<int64_t>(scaled / fromRate);
}

uint32_t convertChannels(const std::vector<SpanList> &channels, int32_t fromRate, int32_t toRate, int32_t toCount,
                         const MixMatrix *mix, Work *work, std::vector<SpanList> &out)
{
    if (channels.empty() || toCount < 1 || fromRate < 1 || toRate < 1) return AUDIO_ERROR_INVALID_ARGUMENT;
    const double ratio = static_cast<double>(toRate) / static_cast<double>(fromRate);
    if (ratio > kMaxRateRatio || ratio < 1.0 / kMaxRateRatio) return AUDIO_ERROR_INCOMPATIBLE;
    const MixMatrix matrix = mix != nullptr ? *mix : defaultMix(channels.size(), static_cast<size_t>(toCount));
    if (matrix.size() != static_cast<size_t>(toCount)) return AUDIO_ERROR_INVALID_ARGUMENT;
    for (const auto &row : matrix) {
        if (row.size() != channels.size()) return AUDIO_ERROR_INVALID_ARGUMENT;
    }

    // Mix where there are fewer lists to resample: before the resampler
    // when channels go away, after it when they are added.
    const bool mixFirst = matrix.size() <= channels.size();
    const int64_t frames = channels.front().frames();
    const bool resample = fromRate != toRate;
    const size_t resampledLists = mixFirst ? matrix.size() : channels.size();
    if (work != nullptr) {
        const double mixFrames = static_cast<double>(mixRows(matrix)) *
                                 static_cast<double>(mixFirst ? frames : resampledFrames(frames, fromRate, toRate));
        work->beginStage(mixFrames + (resample ? static_cast<double>(resampledLists * frames) : 0.0));
    }

    std::vector<SpanList> stage = channels;
    if (mixFirst) {
        const uint32_t failed = mixChannels(channels, matrix, work, stage);
        if (failed != AUDIO_ERROR_NONE) return failed;
    }
    if (resample) {
        const std::vector<SpanList> before = stage;
        for (size_t c = 0; c < stage.size(); ++c) {
            // A list shared by several outputs (a copied mono channel) is
            // resampled once; silence stays silence without a filter.
            size_t earlier = 0;
            while (earlier < c && !before[earlier].sharesStructureWith(before[c])) ++earlier;
            if (earlier < c) {
                stage[c] = stage[earlier];
            } else if (isSilent(before[c])) {
                stage[c] = silentList(resampledFrames(frames, fromRate, toRate));
            } else {
                SpanList converted;
                const uint32_t failed = resampleList(before[c], fromRate, toRate, work, converted);
                if (failed != AUDIO_ERROR_NONE) return failed;
                stage[c] = std::move(converted);
            }
        }
    }
    if (!mixFirst) {
        const std::vector<SpanList> resampled = std::move(stage);
        const uint32_t failed = mixChannels(resampled, matrix, work, stage);
        if (failed != AUDIO_ERROR_NONE) return failed;
    }
    out = std::move(stage);
    return AUDIO_ERROR_NONE;
}

uint32_t convertSignalTo(AUDIOSIGNAL source, const AUDIO_FORMAT &target, Work *work, std::vector<SpanList> &out)
{
    const AUDIO_FORMAT from = AUDIOSIGNAL_GetFormat(source);
    const std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(source);
    if (channels.empty()) return AUDIO_ERROR_INVALID_ARGUMENT;
    if (from.sampleRate == target.sampleRate && static_cast<int32_t>(channels.size()) == target.numChannels) {
        out = channels;
        return AUDIO_ERROR_NONE;
    }
    return convertChannels(channels, from.sampleRate, target.sampleRate, target.numChannels, nullptr, work, out);
}

} // namespace asig::ops

using namespace asig;

// ---- format conversion ------------------------------------------------------

AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_ConvertFormat(AUDIOSIGNAL signal, const AUDIO_FORMAT *target, uint32_t *error)
{
    if (signal == nullptr || target == nullptr || !AUDIO_IsValidFormat(target)) {
        ops::setError(error, AUDIO_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    std::vector<SpanList> converted;
    uint32_t failed = AUDIO_ERROR_NONE;
    {
        ops::Work work(signal);
        failed = ops::convertSignalTo(signal, *target, &work, converted);
        if (failed == AUDIO_ERROR_NONE && !work.complete()) failed = AUDIO_ERROR_CANCELLED;
    }
    if (failed != AUDIO_ERROR_NONE) {
        ops::setError(error, failed);
        return nullptr;
    }
    AUDIOSIGNAL result = ops::duplicateWith(signal, std::move(converted), target, error);
    if (result == nullptr) return nullptr;
    ops::setError(error, AUDIO_ERROR_NONE);
    return result;
}
