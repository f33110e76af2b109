// translate.cpp: user-visible labels through the host's Qt translation
// catalogues.
//
// Labels are looked up in the "QObject" context, the context QObject::tr
// uses, so that a host's catalogue of its own QObject::tr texts covers the
// engine's labels too. Without an application object or a catalogue, Qt
// hands the text back unchanged.

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QString>

#include <algorithm>
#include <cstring>

#include "tavoundo.h"

TAVO_API int32_t TAVOtranslate(const char *text, char *buffer, int32_t size)
{
    if (text == nullptr || buffer == nullptr || size < 1) return 0;
    const QByteArray utf8 = QCoreApplication::translate("QObject", text).toUtf8();
    int32_t length = static_cast<int32_t>(std::min<qsizetype>(utf8.size(), size - 1));
    // Never cut inside a UTF-8 sequence: step back over continuation bytes.
    while (length > 0 && length < utf8.size() && (static_cast<unsigned char>(utf8[length]) & 0xC0u) == 0x80u) {
        --length;
    }
    std::memcpy(buffer, utf8.constData(), static_cast<size_t>(length));
    buffer[length] = '\0';
    return length;
}
