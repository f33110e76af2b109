/*
** tracks_p.h: helpers shared by the track operations (tracks.cpp) and the
** track templates (templates.cpp).
*/
#ifndef TAVO_TRACKS_P_H
#define TAVO_TRACKS_P_H

#include <stdint.h>

#include <string>
#include <vector>

#include "audioregion.h"
#include "audiosignal.h"
#include "bldict.h"
#include "tavotypes.h"

struct TavoDocument;

/* The document's edit access for a block (waiting); refused for a document
** that is not editable. release() ends it early so that events go out
** without it. */
class TavoTrackEditAccess {
public:
    explicit TavoTrackEditAccess(TAVOAUDIO audio);
    ~TavoTrackEditAccess() { release(); }
    TavoTrackEditAccess(const TavoTrackEditAccess &) = delete;
    TavoTrackEditAccess &operator=(const TavoTrackEditAccess &) = delete;
    explicit operator bool() const { return m_held; }
    void release();

private:
    TAVOAUDIO m_audio;
    bool m_held = false;
};

/* Tracks added as part of one undo step, so that a failure half-way can take
** them all back. Each add records its inverse in `script` at once: a track
** made new is taken back by removing it for good, a deleted track brought
** back is put back from a copy taken before. Call with edit access held. */
class TavoTrackBatch {
public:
    TavoTrackBatch(AUDIOSIGNAL signal, TAVOUNDOSCRIPT script) : m_signal(signal), m_script(script) {}
    ~TavoTrackBatch();
    TavoTrackBatch(const TavoTrackBatch &) = delete;
    TavoTrackBatch &operator=(const TavoTrackBatch &) = delete;

    /* AUDIOSIGNAL_AddCustomTrack with its undo recorded; null on failure
    ** (nothing left behind for this track). */
    AUDIOCUSTOMTRACK add(const char *uniqId, const char *label, const char *linkedTo);

    /* Takes back every track added, newest first. */
    void rollback();

    int32_t count() const { return static_cast<int32_t>(m_entries.size()); }

private:
    struct Entry {
        std::string id;
        AUDIOREGIONTRACK before;   /* copy of the deleted track revived, or null */
    };
    AUDIOSIGNAL m_signal;
    TAVOUNDOSCRIPT m_script;
    std::vector<Entry> m_entries;
};

/* A signal the document may change tracks of: the document's signal when it
** is there and writable, else null with the reason as last error. Call with
** edit access held. */
AUDIOSIGNAL _TAVOTRACKS_WritableSignal(struct TavoDocument *doc);

/* Ends a track change: sends TAVOAUDIO_CUSTOM_TRACKS_CHANGED with `uniqId`
** (may be null) and notifies the regions change bit. Call with no lock held. */
void _TAVOTRACKS_Changed(TAVOAUDIO audio, const char *uniqId);

/* Releases the view state's region references (focus, edit, highlight and,
** with `current`, the current region) that lie on region track `index`.
** Call with write access held. */
void _TAVOTRACKS_ReleaseRegionRefs(struct TavoDocument *doc, int32_t index, bool current);

/* Template pieces shared by the track templates (templates.cpp) and the
** track sidecar kept beside a saved document (track_sidecar.cpp). Call with
** read access (the writers) or edit access (the property setter) held. */

/* Gives `track` the entry's "file_type", "font_size" and "number_of_lines";
** values the track cannot take leave it as it is. */
void _TAVOTRACKS_ApplyTemplateProperties(AUDIOCUSTOMTRACK track, BLDICT entry);

/* The annotation tracks in track order, except that a track comes after the
** track it is linked to, so that every link of a template points backwards. */
std::vector<AUDIOCUSTOMTRACK> _TAVOTRACKS_TemplateOrder(AUDIOSIGNAL signal);

/* Appends the template entry of `track` to the array `tracks`: "id",
** "label", "linked_to" (only with `linkWritten`: its target is written as
** well), "number_of_lines", "font_size", "file_type", and "default" for the
** global default. The entry, or null when a value could not be stored. */
BLDICT _TAVOTRACKS_WriteTemplateEntry(BLDICT tracks, AUDIOCUSTOMTRACK track, bool linkWritten);

#endif
