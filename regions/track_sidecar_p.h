/*
** track_sidecar_p.h: the annotation tracks' own properties kept beside a
** saved document, in "<audio name without extension>.tracks.json".
**
** The region sidecars (SRT and the others) keep the tracks' regions; this
** file keeps what they cannot: every saved track's label, link, file type,
** font size, number of lines, default flags, visibility and read-only flag,
** and the document's master track. It is a valid track template (same
** layout, "format": "tavoaudio_track_template") with a few keys of its own:
**   root "master_track": id of the master track (absent when none);
**   root "track_order":  the ids in the document's track order (the "tracks"
**                        entries come in template order: links backwards);
**   entry "use_as_linked_default", "visible", "read_only": booleans.
** Temporary tracks are not written, nor are links to them.
*/
#ifndef TAVO_TRACK_SIDECAR_P_H
#define TAVO_TRACK_SIDECAR_P_H

#include <string>

#include "audiosignal.h"
#include "bldict.h"

struct TavoDocument;

/* The sidecar's path for the audio file `audioName` ("" for an empty name). */
std::string _TAVOTRACKS_SidecarPath(const char *audioName);

/* Writes the sidecar of `audioName` through a temporary file renamed over
** it, or removes it when the document keeps no annotation track (a stale
** file would bring deleted tracks back on the next open). False when the
** file could not be written or removed (logged; any old file stays). Call
** with read or write access held. */
bool _TAVOTRACKS_SaveTrackSidecar(struct TavoDocument *doc, AUDIOSIGNAL signal, const char *audioName);

/* Reading on open, in two steps around the reading of the region sidecars:
**   TavoTrackSidecar sidecar(doc->fileName);  reads and checks the file
**   sidecar.createTracks(signal);             listed tracks, in saved order
**   ... the region sidecars fill the tracks ...
**   sidecar.apply(doc, signal);               properties, links, master
** A missing file is no error; an unreadable or malformed one is logged with
** BLDEBUG_Error and changes nothing. Neither step records an undo step, and
** apply() leaves the document counting as unchanged (what was read is what
** is on disk). Call both with write access held. */
class TavoTrackSidecar {
public:
    explicit TavoTrackSidecar(const char *audioName);
    ~TavoTrackSidecar();
    TavoTrackSidecar(const TavoTrackSidecar &) = delete;
    TavoTrackSidecar &operator=(const TavoTrackSidecar &) = delete;

    /* Whether a valid sidecar was read. */
    explicit operator bool() const { return m_root != nullptr; }

    /* Adds the listed tracks that the signal lacks, empty, with their labels,
    ** in the document's saved track order. */
    void createTracks(AUDIOSIGNAL signal);

    /* Gives the listed tracks their properties, then their links (all
    ** tracks exist by then), the global default, the read-only flags and
    ** the master track; then marks the signal as matching its files. */
    void apply(struct TavoDocument *doc, AUDIOSIGNAL signal);

private:
    std::string m_path;
    BLDICT m_root = nullptr;
};

#endif
