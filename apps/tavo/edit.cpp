// tavo edit IN -o OUT [--format FMT] [--set KEY=VALUE]... STEP...
//
// Opens IN into a document and runs each step as the document operation a
// host's menu would call, so every step that changes something is one undo
// step (and `undo` / `redo` walk them). OUT is written once, at the end,
// and only when every step succeeded; the save writes beside OUT and
// renames, so a failure leaves an existing OUT as it was. IN is never
// written: the save is a copy (TAVOAUDIO_SAVE_COPY) and OUT may not be IN.
//
// Steps are checked for their form before IN is opened (a typo costs no
// time and is a usage error, exit 2); what can only be judged on the
// document (a position past the end, a refused operation) stops the run
// with exit 1. Either way the message names the step by number and text.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "audiosignal.h"
#include "blsettings.h"
#include "cli.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavometadata.h"
#include "tavoregions.h"
#include "tavoselection.h"
#include "tavoundo.h"
#include "tavozoom.h"

namespace tavocli {
namespace {

const char kHelp[] =
    "usage: tavo edit IN -o OUT [--format FMT] [--set KEY=VALUE]... STEP...\n"
    "\n"
    "Opens IN, runs each STEP in order as one document operation (one undo step),\n"
    "and saves the result to OUT in FMT (wav, flac, aiff, ogg, ... or a format text\n"
    "such as 'WAV[bits=24]'; default: from the extension of OUT). IN is never\n"
    "changed. When a step fails the run stops, OUT is not written and the message\n"
    "names the step. --set KEY=VALUE sets a settings key for this run only.\n"
    "\n"
    "Positions P are frames ('44100') or seconds with a trailing s ('1.5s');\n"
    "a range B-E runs from B up to (not including) E.\n"
    "\n"
    "Steps:\n"
    "  select:B-E[,B-E...]   select the ranges (the first replaces, the others add)\n"
    "  select-all            select everything\n"
    "  cursor:P              drop the selections and put the cursor at P\n"
    "  cut | clear | copy    cut to the clipboard / delete / copy the selections\n"
    "  paste                 paste the clipboard at the cursor or over the first selection\n"
    "  paste-at:P            paste the clipboard at P\n"
    "  paste-file:FILE       paste the audio of FILE at the cursor or over the first selection\n"
    "  append-file:FILE      append the audio of FILE at the end\n"
    "  insert-silence:N      insert N frames (or Ns seconds) of silence at the cursor\n"
    "  silence | reverse | invert | normalize | remove-dc\n"
    "                        on the selections, or the whole sound without any\n"
    "  gain:DB               change the level by DB decibels (may be negative)\n"
    "  fade-in[:CURVE]       fade in / out over the selections; CURVE a name of the\n"
    "  fade-out[:CURVE]      fade-curve catalogue, e.g. linear, Quadratic-Decelerating\n"
    "  trim                  keep only the selected audio\n"
    "  swap-channels         swap the two channels of a stereo sound\n"
    "  resample:RATE         convert to RATE Hz\n"
    "  channels:N            convert to N channels\n"
    "  region:B-E:LABEL      add a region labelled LABEL\n"
    "  marker:P[:LABEL]      add a marker\n"
    "  tag:FIELD=VALUE       set a tag (title, artist, album, genre, date, comment, ...;\n"
    "                        an empty VALUE removes it)\n"
    "  undo | redo           take back / do again the last step\n"
    "\n"
    "Example:\n"
    "  tavo edit in.wav -o out.flac select:1s-2s cut fade-in:linear gain:-3 tag:title=Take\n";

struct Step {
    int index = 0;      // 1-based, as the message shows it
    std::string text;   // as given
    std::string name;   // before the first ':'
    std::string arg;    // after it, "" when none
    bool hasArg = false;
};

// ---- checking the form of a step -------------------------------------------

const char *const kPlainSteps[] = {"select-all", "cut",    "clear",     "copy",     "paste",
                                   "silence",    "reverse", "invert",   "normalize", "remove-dc",
                                   "trim",       "swap-channels", "undo", "redo"};

bool isPlain(const std::string &name)
{
    for (const char *plain : kPlainSteps)
        if (name == plain) return true;
    return false;
}

// Splits "B-E:LABEL" (the label may hold ':' itself).
bool splitRegion(const std::string &arg, std::string &range, std::string &label)
{
    const size_t colon = arg.find(':');
    if (colon == std::string::npos) return false;
    range = arg.substr(0, colon);
    label = arg.substr(colon + 1);
    return true;
}

void splitMarker(const std::string &arg, std::string &position, std::string &label)
{
    const size_t colon = arg.find(':');
    position = arg.substr(0, colon);
    label = colon == std::string::npos ? "" : arg.substr(colon + 1);
}

// Empty when the step is well formed, else why not.
std::string checkForm(const Step &s)
{
    if (isPlain(s.name)) return s.hasArg ? "takes no argument" : "";
    if (s.name == "select") {
        if (s.arg.empty()) return "needs ranges B-E[,B-E...]";
        size_t from = 0;
        while (true) {
            const size_t comma = s.arg.find(',', from);
            const std::string range = s.arg.substr(from, comma == std::string::npos ? std::string::npos : comma - from);
            if (!isRangeText(range)) return "'" + range + "' is no range B-E";
            if (comma == std::string::npos) break;
            from = comma + 1;
        }
        return "";
    }
    if (s.name == "cursor" || s.name == "paste-at" || s.name == "insert-silence")
        return isPositionText(s.arg) ? "" : "needs a position in frames or seconds ('1000', '2.5s')";
    if (s.name == "paste-file" || s.name == "append-file") return s.arg.empty() ? "needs a file name" : "";
    if (s.name == "gain") {
        double db = 0;
        return parseReal(s.arg, db) && std::fabs(db) <= 200 ? "" : "needs a level change in dB from -200 to 200";
    }
    if (s.name == "fade-in" || s.name == "fade-out") return s.hasArg && s.arg.empty() ? "needs a curve name after ':'" : "";
    if (s.name == "resample") {
        int64_t rate = 0;
        return parseInt(s.arg, rate) && rate >= 1 && rate <= 768000 ? "" : "needs a sample rate in Hz";
    }
    if (s.name == "channels") {
        int64_t n = 0;
        return parseInt(s.arg, n) && n >= 1 && n <= 32 ? "" : "needs a channel count from 1 to 32";
    }
    if (s.name == "region") {
        std::string range, label;
        if (!splitRegion(s.arg, range, label) || !isRangeText(range)) return "needs B-E:LABEL";
        return "";
    }
    if (s.name == "marker") {
        std::string position, label;
        splitMarker(s.arg, position, label);
        return isPositionText(position) ? "" : "needs P[:LABEL]";
    }
    if (s.name == "tag") {
        const size_t equals = s.arg.find('=');
        if (equals == std::string::npos || equals == 0) return "needs FIELD=VALUE";
        return "";
    }
    return "unknown step";
}

// Tag names as the command line may write them, onto the names the files
// share (the signal library keeps names in upper case).
std::string fieldName(const std::string &field)
{
    std::string upper = field;
    for (char &c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (upper == "YEAR") return "DATE";
    if (upper == "TRACK") return "TRACKNUMBER";
    if (upper == "DISC") return "DISCNUMBER";
    if (upper == "COMMENTS") return "COMMENT";
    return upper;
}

// ---- running a step ------------------------------------------------------------

class Session {
public:
    explicit Session(TAVOAUDIO audio) : m_audio(audio) {}
    ~Session()
    {
        if (m_clipboard != nullptr) AUDIOSIGNAL_Destroy(m_clipboard);
    }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // Empty on success, else why the step failed.
    std::string run(const Step &s);

private:
    double rate() const { return AUDIOSIGNAL_SampleRate(TAVOAUDIO_GetAudioSignal(m_audio)); }
    int64_t frames() const { return AUDIOSIGNAL_NumFrames(TAVOAUDIO_GetAudioSignal(m_audio)); }

    // A position of the step, within [0, frames]; false with `why` set.
    bool position(const std::string &text, int64_t &frame, std::string &why) const
    {
        if (!parsePosition(text, rate(), frame)) {
            why = "'" + text + "' is no position";
            return false;
        }
        if (frame > frames()) {
            why = "position " + text + " lies beyond the end (" + std::to_string(frames()) + " frames)";
            return false;
        }
        return true;
    }

    bool range(const std::string &text, int64_t &begin, int64_t &end, std::string &why) const
    {
        if (!parseRange(text, rate(), begin, end)) {
            why = "'" + text + "' is no range B-E with B before E";
            return false;
        }
        if (end > frames()) {
            why = "range " + text + " runs beyond the end (" + std::to_string(frames()) + " frames)";
            return false;
        }
        return true;
    }

    std::string refused() const { return describeLastError(m_audio); }

    void keepClipboard(AUDIOSIGNAL clip)
    {
        if (m_clipboard != nullptr) AUDIOSIGNAL_Destroy(m_clipboard);
        m_clipboard = clip;
    }

    TAVOAUDIO m_audio;
    AUDIOSIGNAL m_clipboard = nullptr;  // the audio of the last cut or copy, owned here
};

std::string Session::run(const Step &s)
{
    TAVOAUDIO a = m_audio;
    std::string why;
    TAVOAUDIO_GetLastError(a, true);
    const std::string &n = s.name;

    if (n == "select") {
        size_t from = 0;
        bool first = true;
        while (true) {
            const size_t comma = s.arg.find(',', from);
            const std::string text = s.arg.substr(from, comma == std::string::npos ? std::string::npos : comma - from);
            int64_t b = 0, e = 0;
            if (!range(text, b, e, why)) return why;
            const int32_t ok = first ? TAVOAUDIO_SelectAudioEx(a, b, e, -1, TAVOSELECTION_FLAG_NOTIFY)
                                     : TAVOAUDIO_AddSelectionEx(a, b, e, -1, TAVOSELECTION_FLAG_NOTIFY);
            if (ok == 0) return "cannot select " + text + ": " + refused();
            first = false;
            if (comma == std::string::npos) break;
            from = comma + 1;
        }
        return "";
    }
    if (n == "select-all") return TAVOAUDIO_SelectAll(a) != 0 ? "" : refused();
    if (n == "cursor") {
        // The selections go: paste and insert-silence work at the cursor only
        // when nothing is selected, which is what a cursor step asks for.
        int64_t p = 0;
        if (!position(s.arg, p, why)) return why;
        TAVOAUDIO_ClearSelectionEx2(a, nullptr, TAVOSELECTION_FLAG_NOTIFY);
        return TAVOAUDIO_SetCursorPositionEx2(a, p, 1) ? "" : refused();
    }

    // Steps that work on the selection say so instead of letting the
    // document refuse without a reason a user could act on.
    const bool needsSelection = n == "cut" || n == "clear" || n == "copy" || n == "trim";
    if (needsSelection && !TAVOAUDIO_HasSelection(a)) return "needs a selection (add a select: step before it)";

    if (n == "cut") {
        AUDIOSIGNAL clip = TAVOAUDIO_Cut(a, nullptr);
        if (clip == nullptr) return refused();
        keepClipboard(clip);
        return "";
    }
    if (n == "copy") {
        AUDIOSIGNAL clip = TAVOAUDIO_CopyEx(a, 0);
        if (clip == nullptr) return refused();
        keepClipboard(clip);
        return "";
    }
    if (n == "clear") return TAVOAUDIO_Clear(a, nullptr) ? "" : refused();
    if (n == "paste" || n == "paste-at") {
        if (m_clipboard == nullptr) return "nothing to paste (no cut or copy step before it)";
        if (n == "paste") return TAVOAUDIO_PasteEx(a, m_clipboard, 0, nullptr) ? "" : refused();
        int64_t p = 0;
        if (!position(s.arg, p, why)) return why;
        return TAVOAUDIO_PasteToPositionEx(a, m_clipboard, p, 0, nullptr) != 0 ? "" : refused();
    }
    if (n == "paste-file" || n == "append-file") {
        std::error_code code;
        if (!std::filesystem::is_regular_file(s.arg, code)) return "'" + s.arg + "': no such file";
        const bool ok = n == "paste-file" ? TAVOAUDIO_PasteFileEx(a, s.arg.c_str(), "AUTO", 0, nullptr)
                                          : TAVOAUDIO_AppendFromFile(a, s.arg.c_str(), "AUTO", nullptr) != 0;
        return ok ? "" : "cannot take the audio of '" + s.arg + "': " + refused();
    }
    if (n == "insert-silence") {
        int64_t length = 0;
        if (!parsePosition(s.arg, rate(), length) || length < 1) return "'" + s.arg + "' is no length above 0";
        return TAVOAUDIO_PasteSilence(a, length, nullptr) ? "" : refused();
    }
    if (n == "silence") return TAVOAUDIO_Silence(a, nullptr) ? "" : refused();
    if (n == "reverse") return TAVOAUDIO_ReverseEx2(a, nullptr, nullptr, false) ? "" : refused();
    if (n == "invert") return TAVOAUDIO_Invert(a, nullptr) ? "" : refused();
    if (n == "normalize") return TAVOAUDIO_NormalizeEx2(a, nullptr, nullptr) ? "" : refused();
    if (n == "remove-dc") return TAVOAUDIO_RemoveDC(a, nullptr) ? "" : refused();
    if (n == "gain") {
        double db = 0;
        parseReal(s.arg, db);
        // One gain for every channel: the table has a slot for each of the
        // 32 channels a signal may have.
        double gains[32];
        for (double &g : gains) g = std::pow(10.0, db / 20.0);
        return TAVOAUDIO_LinearTransformSelectionEx2(a, gains, nullptr, nullptr, nullptr, 0) ? "" : refused();
    }
    if (n == "fade-in" || n == "fade-out") {
        const char *curve = s.hasArg ? s.arg.c_str() : nullptr;
        const bool ok = n == "fade-in" ? TAVOAUDIO_FadeIn(a, curve, nullptr) : TAVOAUDIO_FadeOut(a, curve, nullptr);
        if (ok) return "";
        return s.hasArg ? "refused (is '" + s.arg + "' a curve of the catalogue?): " + refused() : refused();
    }
    if (n == "trim") return TAVOAUDIO_Trim(a, nullptr) ? "" : refused();
    if (n == "swap-channels") {
        if (AUDIOSIGNAL_NumChannels(TAVOAUDIO_GetAudioSignal(a)) != 2) return "needs a stereo sound";
        return TAVOAUDIO_SwapChannels(a, nullptr) ? "" : refused();
    }
    if (n == "resample" || n == "channels") {
        int64_t value = 0;
        parseInt(s.arg, value);
        const bool ok = n == "resample"
                            ? TAVOAUDIO_ChangeAudioFormat(a, static_cast<int32_t>(value), 0, nullptr, nullptr, nullptr)
                            : TAVOAUDIO_ChangeAudioFormat(a, 0, static_cast<int32_t>(value), nullptr, nullptr, nullptr);
        return ok ? "" : refused();
    }
    if (n == "region") {
        std::string text, label;
        splitRegion(s.arg, text, label);
        int64_t b = 0, e = 0;
        if (!range(text, b, e, why)) return why;
        return TAVOAUDIO_AddRegion(a, b, e, label.c_str()) != nullptr ? "" : refused();
    }
    if (n == "marker") {
        std::string text, label;
        splitMarker(s.arg, text, label);
        int64_t p = 0;
        if (!position(text, p, why)) return why;
        return TAVOAUDIO_AddMarkerToSample(a, p, label.c_str()) != nullptr ? "" : refused();
    }
    if (n == "tag") {
        const size_t equals = s.arg.find('=');
        const std::string field = fieldName(s.arg.substr(0, equals));
        const std::string value = s.arg.substr(equals + 1);
        // An edition makes the tag change one undo step, like every other step.
        if (TAVOAUDIO_BeginMetadataEdition(a, nullptr) == 0) return refused();
        const int32_t ok = TAVOAUDIO_SetMetaData(a, field.c_str(), value.c_str());
        const std::string reason = ok == 0 ? refused() : "";
        TAVOAUDIO_EndMetadataEdition(a);
        return ok != 0 ? "" : "cannot set " + field + ": " + reason;
    }
    if (n == "undo") {
        if (TAVOUNDO_CountUndoScripts(a) <= 0) return "nothing to undo";
        return TAVOAUDIO_UndoEx(a, 0) ? "" : refused();
    }
    if (n == "redo") {
        if (TAVOUNDO_CountRedoScripts(a) <= 0) return "nothing to redo";
        return TAVOAUDIO_Redo(a) ? "" : refused();
    }
    return "unknown step";
}

// ---- the settings of the run -------------------------------------------------

// Applies KEY=VALUE pairs for this process only. The store keeps its values
// in memory from here on (BLSETTINGS_SetFileName("")), so neither these
// values nor anything else changed during the run reach the settings file;
// the file's values read so far stay in force.
bool applySettings(const std::vector<std::string> &pairs, std::string &why)
{
    if (pairs.empty()) return true;
    // A read makes sure the file has been loaded before the store is cut
    // off from it: the user's other settings must still apply.
    BLSETTINGS_ExistsEx(nullptr, "libtavo.editoptions.smoothboundaries");
    if (!BLSETTINGS_SetFileName("")) {
        why = "cannot keep the settings in memory";
        return false;
    }
    for (const std::string &pair : pairs) {
        if (!BLSETTINGS_ChangeEx(nullptr, "%s", pair.c_str())) {
            why = "the settings store refused '" + pair + "'";
            return false;
        }
    }
    return true;
}

bool isSettingPair(const std::string &pair)
{
    const size_t equals = pair.find('=');
    if (equals == std::string::npos || equals == 0 || equals > 255) return false;
    for (size_t i = 0; i < equals; ++i) {
        const char c = pair[i];
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                        c == '_' || c == '-';
        if (!ok) return false;
    }
    return pair.find('\n') == std::string::npos;
}

}  // namespace

int runEdit(const std::vector<std::string> &args)
{
    std::string in, out, requestedFormat;
    std::vector<std::string> settings;
    std::vector<Step> steps;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &arg = args[i];
        if (isHelp(arg)) {
            std::fputs(kHelp, stdout);
            return kExitOk;
        }
        const bool hasValue = i + 1 < args.size();
        if (arg == "-o" || arg == "--output" || arg == "--format" || arg == "--set") {
            if (!hasValue) {
                fail("edit", "option " + arg + " needs a value");
                return kExitUsage;
            }
            const std::string &value = args[++i];
            if (arg == "--format") {
                requestedFormat = value;
            } else if (arg == "--set") {
                if (!isSettingPair(value)) {
                    fail("edit", "--set needs KEY=VALUE with a key of letters, digits and . _ -, not '" + value + "'");
                    return kExitUsage;
                }
                settings.push_back(value);
            } else {
                out = value;
            }
        } else if (!arg.empty() && arg[0] == '-') {
            fail("edit", "unknown option '" + arg + "'");
            return kExitUsage;
        } else if (in.empty()) {
            in = arg;
        } else {
            Step step;
            step.index = static_cast<int>(steps.size()) + 1;
            step.text = arg;
            const size_t colon = arg.find(':');
            step.name = arg.substr(0, colon);
            step.hasArg = colon != std::string::npos;
            step.arg = step.hasArg ? arg.substr(colon + 1) : "";
            steps.push_back(step);
        }
    }
    if (in.empty() || out.empty()) {
        std::fputs(kHelp, stderr);
        return kExitUsage;
    }
    for (const Step &s : steps) {
        const std::string why = checkForm(s);
        if (!why.empty()) {
            fail("edit", "step " + std::to_string(s.index) + " '" + s.text + "': " + why);
            return kExitUsage;
        }
    }
    std::string format, why;
    if (!resolveSaveFormat(requestedFormat, out, format, why)) {
        fail("edit", why);
        return kExitUsage;
    }
    std::error_code code;
    if (std::filesystem::exists(out, code) && std::filesystem::equivalent(in, out, code)) {
        fail("edit", "OUT is the input file; the input is never written, name another OUT");
        return kExitUsage;
    }
    if (!applySettings(settings, why)) {
        fail("edit", why);
        return kExitFailed;
    }

    TAVOAUDIO audio = openDocument(in, why);
    if (audio == nullptr) {
        if (cancelRequested()) {
            fail("edit", "cancelled while opening '" + in + "'; '" + out + "' not written");
            return kExitCancelled;
        }
        fail("edit", why);
        return kExitFailed;
    }
    int status = kExitOk;
    {
        Session session(audio);
        for (const Step &s : steps) {
            if (cancelRequested()) break;
            why = session.run(s);
            if (cancelRequested()) break;
            if (!why.empty()) {
                fail("edit", "step " + std::to_string(s.index) + " '" + s.text + "' failed: " + why +
                                 "; '" + out + "' not written");
                status = kExitFailed;
                break;
            }
        }
    }
    bool saved = false;
    if (status == kExitOk && !cancelRequested()) {
        saved = TAVOAUDIO_SaveAsEx(audio, out.c_str(), format.c_str(), TAVOAUDIO_SAVE_COPY);
        if (!saved && !cancelRequested()) {
            fail("edit", "cannot write '" + out + "' as " + format + ": " + describeLastError(audio));
            status = kExitFailed;
        }
    }
    // A Ctrl-C before the save finished leaves no output: the save was not
    // started, or it was cancelled and wrote nothing. A save that finished
    // stands: the result is complete.
    if (status == kExitOk && !saved) {
        fail("edit", "cancelled; '" + out + "' not written");
        status = kExitCancelled;
    }
    TAVOAUDIO_Close(audio);
    return status;
}

}  // namespace tavocli
