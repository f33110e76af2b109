// Tags in files, through TagLib: reading them on open and writing them into
// a file this library is about to put in place. TagLib reaches the file
// through a stream of our own over a descriptor, so that every failed
// system call is seen (TagLib's own file stream does not report short
// writes) and the caller decides what to do with a damaged copy.
#include "file_p.h"
#include "metadata_p.h"

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tiostream.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <vector>

namespace asig {

namespace {

// Bytes moved at a time when TagLib makes room for a larger tag or closes
// the gap of a smaller one: large enough that the system calls cost
// nothing next to the copying, small enough to keep memory flat.
constexpr size_t kMoveChunk = size_t(1) << 20;

// The comment name under which FLAC and Ogg files keep regions.
constexpr const char *kRegionField = "REGION";

// Several values of one field are read as one text joined by this.
constexpr const char *kValueSeparator = "; ";

// A TagLib stream over a descriptor it does not own, with pread/pwrite at
// its own position. The first failed system call is kept; after it every
// write is refused, so the file is not made worse.
class DescriptorStream final : public TagLib::IOStream {
public:
    DescriptorStream(int fd, bool readOnly) : m_fd(fd), m_readOnly(readOnly) {}

    int firstError() const { return m_error; }

    TagLib::FileName name() const override { return ""; }

    TagLib::ByteVector readBlock(unsigned long length) override
    {
        const long available = std::max<long>(0, this->length() - m_position);
        TagLib::ByteVector data(static_cast<unsigned int>(std::min<long>(long(length), available)));
        const size_t got = readAt(data.data(), data.size(), m_position);
        data.resize(static_cast<unsigned int>(got));
        m_position += long(got);
        return data;
    }

    void writeBlock(const TagLib::ByteVector &data) override
    {
        if (writeAt(data.data(), data.size(), m_position)) m_position += long(data.size());
    }

    void insert(const TagLib::ByteVector &data, unsigned long start, unsigned long replace) override
    {
        const long size = length();
        const long from = std::min<long>(long(start), size);
        const long cut = std::min<long>(long(replace), size - from);
        const long grown = long(data.size()) - cut;
        if (grown > 0) moveTail(from + cut, from + cut + grown);
        if (grown < 0) moveTail(from + cut, from + long(data.size()));
        writeAt(data.data(), data.size(), from);
        if (grown < 0) truncate(size + grown);
        m_position = from + long(data.size());
    }

    void removeBlock(unsigned long start, unsigned long length) override
    {
        const long size = this->length();
        const long from = std::min<long>(long(start), size);
        const long cut = std::min<long>(long(length), size - from);
        if (cut <= 0) return;
        moveTail(from + cut, from);
        truncate(size - cut);
        m_position = from;
    }

    bool readOnly() const override { return m_readOnly; }
    bool isOpen() const override { return m_fd >= 0; }

    void seek(long offset, Position p) override
    {
        const long base = p == Beginning ? 0 : p == Current ? m_position : length();
        m_position = std::max<long>(0, base + offset);
    }

    void clear() override {}
    long tell() const override { return m_position; }

    long length() override
    {
        struct stat info {};
        return ::fstat(m_fd, &info) == 0 ? long(info.st_size) : 0;
    }

    void truncate(long length) override
    {
        if (m_readOnly || m_error != 0) return;
        if (::ftruncate(m_fd, off_t(length)) != 0) m_error = errno;
    }

private:
    size_t readAt(char *out, size_t count, long at)
    {
        size_t done = 0;
        while (done < count) {
            const ssize_t n = ::pread(m_fd, out + done, count - done, off_t(at) + off_t(done));
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 && m_error == 0) m_error = errno;
            if (n <= 0) break;
            done += size_t(n);
        }
        return done;
    }

    bool writeAt(const char *in, size_t count, long at)
    {
        if (m_readOnly || m_error != 0) return false;
        size_t done = 0;
        while (done < count) {
            const ssize_t n = ::pwrite(m_fd, in + done, count - done, off_t(at) + off_t(done));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                m_error = n < 0 ? errno : ENOSPC;
                return false;
            }
            done += size_t(n);
        }
        return true;
    }

    // Moves the bytes from `from` to the end of the file so that they start
    // at `to`: from the end backwards when growing, from the front when
    // shrinking, so that no byte is overwritten before it was moved.
    void moveTail(long from, long to)
    {
        const long size = length();
        if (from >= size || from == to) return;
        std::vector<char> buffer(kMoveChunk);
        if (to > from) {
            long end = size;
            while (end > from && m_error == 0) {
                const long n = std::min<long>(long(kMoveChunk), end - from);
                end -= n;
                if (readAt(buffer.data(), size_t(n), end) != size_t(n)) {
                    if (m_error == 0) m_error = EIO;
                    return;
                }
                writeAt(buffer.data(), size_t(n), end + (to - from));
            }
        } else {
            for (long at = from; at < size && m_error == 0;) {
                const long n = std::min<long>(long(kMoveChunk), size - at);
                if (readAt(buffer.data(), size_t(n), at) != size_t(n)) {
                    if (m_error == 0) m_error = EIO;
                    return;
                }
                writeAt(buffer.data(), size_t(n), at - (from - to));
                at += n;
            }
        }
    }

    int m_fd;
    bool m_readOnly;
    long m_position = 0;
    int m_error = 0;
};

TagLib::String utf8(const std::string &text)
{
    return TagLib::String(text, TagLib::String::UTF8);
}

// ---- from TagLib's properties to fields ------------------------------------------

// "7/12" in a number field (ID3's TRCK and TPOS) carries the total too;
// it goes where Vorbis comments keep it.
void splitTotal(FieldTable &fields, const char *numberName, const char *totalName)
{
    const auto number = fields.values.find(numberName);
    if (number == fields.values.end()) return;
    const std::string &text = *number->second;
    const size_t slash = text.find('/');
    if (slash == std::string::npos) return;
    const std::string total = text.substr(slash + 1);
    const std::string own = text.substr(0, slash);
    if (!total.empty() && fields.values.count(totalName) == 0)
        fields.values.emplace(totalName, std::make_shared<const std::string>(total));
    if (own.empty())
        fields.values.erase(number);
    else
        number->second = std::make_shared<const std::string>(own);
}

// Other spellings of the totals that Vorbis comments use in the wild.
void renameField(FieldTable &fields, const char *from, const char *to)
{
    const auto found = fields.values.find(from);
    if (found == fields.values.end()) return;
    if (fields.values.count(to) == 0) fields.values.emplace(to, found->second);
    fields.values.erase(found);
}

void takeProperties(const TagLib::PropertyMap &properties, FieldTable &fields)
{
    for (const auto &entry : properties) {
        std::string name;
        if (!normalizeFieldName(entry.first.to8Bit(true), name) || name == AUDIOMETADATA_FIELD_ARTWORK) continue;
        if (name == kRegionField) {
            for (const TagLib::String &one : entry.second) fields.regions.push_back(one.to8Bit(true));
            continue;
        }
        std::string value;
        for (const TagLib::String &one : entry.second) {
            const std::string text = one.to8Bit(true);
            if (text.empty()) continue;
            if (!value.empty()) value += kValueSeparator;
            value += text;
        }
        if (value.empty() || !isText(value)) continue;
        fields.values.insert_or_assign(name, std::make_shared<const std::string>(std::move(value)));
    }
    renameField(fields, "TOTALTRACKS", AUDIOMETADATA_FIELD_TRACKTOTAL);
    renameField(fields, "TOTALDISCS", AUDIOMETADATA_FIELD_DISCTOTAL);
    splitTotal(fields, AUDIOMETADATA_FIELD_TRACKNUMBER, AUDIOMETADATA_FIELD_TRACKTOTAL);
    splitTotal(fields, AUDIOMETADATA_FIELD_DISCNUMBER, AUDIOMETADATA_FIELD_DISCTOTAL);
}

std::shared_ptr<const Artwork> makeArtwork(const TagLib::ByteVector &image, const TagLib::String &mimeType)
{
    if (image.isEmpty()) return nullptr;
    auto artwork = std::make_shared<Artwork>();
    artwork->image = std::make_shared<const std::string>(image.data(), image.size());
    // A picture without a type (some taggers leave it out) is still shown;
    // its bytes say what it is for whoever reads it.
    artwork->mimeType = mimeType.isEmpty() ? "application/octet-stream" : mimeType.to8Bit(true);
    return artwork;
}

// The front cover when there is one, else the first picture.
std::shared_ptr<const Artwork> id3Artwork(TagLib::ID3v2::Tag *tag)
{
    if (tag == nullptr) return nullptr;
    const TagLib::ID3v2::FrameList frames = tag->frameList("APIC");
    const TagLib::ID3v2::AttachedPictureFrame *chosen = nullptr;
    for (TagLib::ID3v2::Frame *frame : frames) {
        const auto *picture = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame *>(frame);
        if (picture == nullptr) continue;
        if (chosen == nullptr || picture->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover) chosen = picture;
        if (picture->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover) break;
    }
    return chosen != nullptr ? makeArtwork(chosen->picture(), chosen->mimeType()) : nullptr;
}

std::shared_ptr<const Artwork> flacArtwork(const TagLib::List<TagLib::FLAC::Picture *> &pictures)
{
    const TagLib::FLAC::Picture *chosen = nullptr;
    for (const TagLib::FLAC::Picture *picture : pictures) {
        if (chosen == nullptr || picture->type() == TagLib::FLAC::Picture::FrontCover) chosen = picture;
        if (picture->type() == TagLib::FLAC::Picture::FrontCover) break;
    }
    return chosen != nullptr ? makeArtwork(chosen->data(), chosen->mimeType()) : nullptr;
}

// ---- from fields to TagLib ------------------------------------------------------------

// The text fields as TagLib's properties. ID3 keeps "number/total" in one
// frame, where other programs look for the total.
TagLib::PropertyMap propertiesOf(const FieldTable &fields, bool id3)
{
    TagLib::PropertyMap properties;
    for (const auto &[name, value] : fields.values)
        if (isText(*value)) properties.insert(utf8(name), TagLib::StringList(utf8(*value)));
    if (id3) {
        const auto joinTotal = [&](const char *numberName, const char *totalName) {
            const auto number = fields.values.find(numberName);
            const auto total = fields.values.find(totalName);
            if (number == fields.values.end() || total == fields.values.end()) return;
            properties.replace(utf8(numberName), TagLib::StringList(utf8(*number->second + "/" + *total->second)));
            properties.erase(utf8(totalName));
        };
        joinTotal(AUDIOMETADATA_FIELD_TRACKNUMBER, AUDIOMETADATA_FIELD_TRACKTOTAL);
        joinTotal(AUDIOMETADATA_FIELD_DISCNUMBER, AUDIOMETADATA_FIELD_DISCTOTAL);
    }
    return properties;
}

TagLib::ByteVector bytesOf(const std::string &bytes)
{
    return TagLib::ByteVector(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

void putId3Tags(TagLib::ID3v2::Tag *tag, const FieldTable &fields)
{
    tag->setProperties(propertiesOf(fields, true));
    tag->removeFrames("APIC");
    if (fields.artwork == nullptr) return;
    auto *frame = new TagLib::ID3v2::AttachedPictureFrame;
    frame->setTextEncoding(TagLib::String::UTF8);
    frame->setType(TagLib::ID3v2::AttachedPictureFrame::FrontCover);
    frame->setMimeType(utf8(fields.artwork->mimeType));
    frame->setPicture(bytesOf(*fields.artwork->image));
    tag->addFrame(frame);  // the tag owns it
}

TagLib::FLAC::Picture *flacPicture(const Artwork &artwork)
{
    auto *picture = new TagLib::FLAC::Picture;
    picture->setType(TagLib::FLAC::Picture::FrontCover);
    picture->setMimeType(utf8(artwork.mimeType));
    picture->setData(bytesOf(*artwork.image));
    return picture;
}

// Adds the region comments after the tags have replaced every field.
void putRegionComments(TagLib::Ogg::XiphComment *comment, const FieldTable &fields)
{
    for (const std::string &region : fields.regions) comment->addField(kRegionField, utf8(region), false);
}

void putXiphTags(TagLib::Ogg::XiphComment *comment, const FieldTable &fields)
{
    comment->setProperties(propertiesOf(fields, false));
    putRegionComments(comment, fields);
    comment->removeAllPictures();
    if (fields.artwork != nullptr) comment->addPicture(flacPicture(*fields.artwork));
}

bool readTags(DescriptorStream &stream, int16_t formatTag, FieldTable &out)
{
    switch (formatTag) {
    case AUDIO_FORMATTAG_WAV: {
        TagLib::RIFF::WAV::File file(&stream, false);
        if (!file.isValid()) return false;
        takeProperties(file.properties(), out);
        if (file.hasID3v2Tag()) out.artwork = id3Artwork(file.ID3v2Tag());
        return true;
    }
    case AUDIO_FORMATTAG_AIFF: {
        TagLib::RIFF::AIFF::File file(&stream, false);
        if (!file.isValid()) return false;
        takeProperties(file.properties(), out);
        if (file.hasID3v2Tag()) out.artwork = id3Artwork(file.tag());
        return true;
    }
    case AUDIO_FORMATTAG_MP3: {
        TagLib::MPEG::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
        if (!file.isValid()) return false;
        takeProperties(file.properties(), out);
        if (file.hasID3v2Tag()) out.artwork = id3Artwork(file.ID3v2Tag());
        return true;
    }
    case AUDIO_FORMATTAG_FLAC: {
        TagLib::FLAC::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
        if (!file.isValid()) return false;
        takeProperties(file.properties(), out);
        out.artwork = flacArtwork(file.pictureList());
        return true;
    }
    case AUDIO_FORMATTAG_OGG: {
        TagLib::Ogg::Vorbis::File file(&stream, false);
        if (!file.isValid() || file.tag() == nullptr) return false;
        takeProperties(file.tag()->properties(), out);
        out.artwork = flacArtwork(file.tag()->pictureList());
        return true;
    }
    case AUDIO_FORMATTAG_OPUS: {
        TagLib::Ogg::Opus::File file(&stream, false);
        if (!file.isValid() || file.tag() == nullptr) return false;
        takeProperties(file.tag()->properties(), out);
        out.artwork = flacArtwork(file.tag()->pictureList());
        return true;
    }
    default: return false;
    }
}

bool writeTags(DescriptorStream &stream, int16_t formatTag, const FieldTable &fields)
{
    switch (formatTag) {
    case AUDIO_FORMATTAG_WAV: {
        // The same text goes into ID3v2 (read first, holds any text and the
        // artwork) and RIFF INFO (what older programs read).
        TagLib::RIFF::WAV::File file(&stream, false);
        if (!file.isValid()) return false;
        file.InfoTag()->setProperties(propertiesOf(fields, false));
        putId3Tags(file.ID3v2Tag(), fields);
        return file.save(TagLib::RIFF::WAV::File::AllTags, TagLib::File::StripOthers, TagLib::ID3v2::v4);
    }
    case AUDIO_FORMATTAG_AIFF: {
        TagLib::RIFF::AIFF::File file(&stream, false);
        if (!file.isValid()) return false;
        putId3Tags(file.tag(), fields);
        return file.save(TagLib::ID3v2::v4);
    }
    case AUDIO_FORMATTAG_MP3: {
        TagLib::MPEG::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
        if (!file.isValid()) return false;
        putId3Tags(file.ID3v2Tag(true), fields);
        // ID3v1 and APE tags would hold an older copy of the same fields.
        return file.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripOthers, TagLib::ID3v2::v4,
                         TagLib::File::DoNotDuplicate);
    }
    case AUDIO_FORMATTAG_FLAC: {
        TagLib::FLAC::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
        if (!file.isValid()) return false;
        file.xiphComment(true)->setProperties(propertiesOf(fields, false));
        putRegionComments(file.xiphComment(), fields);
        file.removePictures();
        if (fields.artwork != nullptr) file.addPicture(flacPicture(*fields.artwork));
        return file.save();
    }
    case AUDIO_FORMATTAG_OGG: {
        TagLib::Ogg::Vorbis::File file(&stream, false);
        if (!file.isValid() || file.tag() == nullptr) return false;
        putXiphTags(file.tag(), fields);
        return file.save();
    }
    case AUDIO_FORMATTAG_OPUS: {
        TagLib::Ogg::Opus::File file(&stream, false);
        if (!file.isValid() || file.tag() == nullptr) return false;
        putXiphTags(file.tag(), fields);
        return file.save();
    }
    default: return false;
    }
}

} // namespace

bool formatHoldsTags(int16_t formatTag)
{
    // The format table says it; readTags and writeTags know each format
    // that has the bit.
    const file::FormatEntry *entry = file::findFormatByTag(formatTag);
    return entry != nullptr && (entry->holds & AUDIO_CAP_TAGS) != 0;
}

bool readFileTags(int fd, int16_t formatTag, FieldTable &out)
{
    if (!formatHoldsTags(formatTag)) return false;
    DescriptorStream stream(fd, true);
    FieldTable fields;
    if (!readTags(stream, formatTag, fields) || stream.firstError() != 0) return false;
    out = std::move(fields);
    return true;
}

bool writeFileTags(int fd, int16_t formatTag, const FieldTable &fields, uint32_t &error)
{
    if (!formatHoldsTags(formatTag)) {
        error |= AUDIO_ERROR_METADATA;
        return false;
    }
    DescriptorStream stream(fd, false);
    bool saved = false;
    try {
        saved = writeTags(stream, formatTag, fields);
    } catch (const std::bad_alloc &) {
        error |= AUDIO_ERROR_OUT_OF_MEMORY;
        return false;
    }
    if (stream.firstError() != 0) {
        error |= file::errorOfErrno(stream.firstError(), true);
        return false;
    }
    if (!saved) {
        error |= AUDIO_ERROR_METADATA;
        return false;
    }
    return true;
}

} // namespace asig
