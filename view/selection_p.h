/*
** selection_p.h: helpers shared by the selection files (selection.cpp,
** selecting.cpp).
*/
#ifndef TAVO_SELECTION_P_H
#define TAVO_SELECTION_P_H

#include <stdint.h>

#include "frame/document_p.h"
#include "tavoaudio.h"

/* Change bits of selection changes. */
#define TAVOSELECTION_BITS_BAND 0x2u        /* the selecting band moved */
#define TAVOSELECTION_BITS_LIST 0x4u        /* the selection list changed */

#ifdef __cplusplus

/* The selection write access of a document as a scoped guard: tries the
** write lock 4 times, 1 ms apart; the destructor leaves it, passing the
** change bits recorded with record() (nothing recorded: no notification). */
class SelectionWrite {
public:
    explicit SelectionWrite(TAVOAUDIO audio) : m_audio(audio), m_held(TAVOAUDIO_GetSelectionWriteAccess(audio)) {}
    ~SelectionWrite()
    {
        if (m_held) TAVOAUDIO_ReleaseSelectionWriteAccessEx(m_audio, m_notify, m_bits);
    }
    SelectionWrite(const SelectionWrite &) = delete;
    SelectionWrite &operator=(const SelectionWrite &) = delete;
    explicit operator bool() const { return m_held; }
    void record(uint32_t bits)
    {
        m_notify = true;
        m_bits |= bits;
    }

private:
    TAVOAUDIO m_audio;
    bool m_held;
    bool m_notify = false;
    uint32_t m_bits = 0;
};

/* The document's read access tried once, as a scoped guard. */
class SelectionRead {
public:
    explicit SelectionRead(TAVOAUDIO audio) : m_audio(audio), m_held(TAVOAUDIO_GetReadAccessEx(audio, true)) {}
    ~SelectionRead()
    {
        if (m_held) TAVOAUDIO_ReleaseReadAccess(m_audio);
    }
    SelectionRead(const SelectionRead &) = delete;
    SelectionRead &operator=(const SelectionRead &) = delete;
    explicit operator bool() const { return m_held; }

private:
    TAVOAUDIO m_audio;
    bool m_held;
};

#endif

#endif
