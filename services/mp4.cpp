#include "services/mp4.h"

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "foundation/bytes.h"
#include "platform/file.h"

namespace services {
namespace {

namespace platform = orvkit::platform;
using ByteSpan = std::span<const unsigned char>;

constexpr std::int64_t kMostOfDirectory = std::int64_t{64} << 20;

template <typename Number>
Number at(ByteSpan bytes, std::size_t offset) {
    if (bytes.size() < sizeof(Number) || offset > bytes.size() - sizeof(Number)) return 0;
    return orvkit::loadAt<Number>(bytes.data() + offset, orvkit::ByteOrder::big);
}

struct Box {
    std::string_view type;
    ByteSpan content;
};

// Takes the next box from the front; nothing at the end, and where one is longer than what it stands in.
std::optional<Box> takeBox(ByteSpan& from) {
    if (from.size() < 8) return std::nullopt;
    std::uint64_t length = at<std::uint32_t>(from, 0);
    std::size_t head = 8;
    if (length == 1) {
        length = at<std::uint64_t>(from, 8);
        head = 16;
    } else if (length == 0) {
        length = from.size();
    }
    if (length < head || length > from.size()) return std::nullopt;
    const Box box{{reinterpret_cast<const char*>(from.data()) + 4, 4},
                  from.subspan(head, static_cast<std::size_t>(length) - head)};
    from = from.subspan(static_cast<std::size_t>(length));
    return box;
}

// The content of the box that a path of types leads to, each the first of its type; empty where there is
// none.
ByteSpan find(ByteSpan in, std::string_view path) {
    for (; path.size() >= 4; path.remove_prefix(4)) {
        std::optional<Box> box = takeBox(in);
        while (box && box->type != path.substr(0, 4)) box = takeBox(in);
        if (!box) return {};
        in = box->content;
    }
    return in;
}

// H.264 by profile and level of its configuration (ISO 14496-15 5.3.3): High up to 4.1 and 4.2.
const char* syntaxOfAvc(ByteSpan configuration) {
    const unsigned int profile = at<std::uint8_t>(configuration, 1);
    const unsigned int level = at<std::uint8_t>(configuration, 3);
    const bool isHigh = profile == 66 || profile == 77 || profile == 100;  // what is in it is in High, too
    if (!isHigh || level == 0 || level > 42) return nullptr;
    return level <= 41 ? "1.2.840.10008.1.2.4.102" : "1.2.840.10008.1.2.4.104";
}

// H.265 by profile and level (ISO 14496-15 8.3.3): Main and Main 10 up to 5.1.
const char* syntaxOfHevc(ByteSpan configuration) {
    const unsigned int profile = at<std::uint8_t>(configuration, 1) & 31u;
    const unsigned int level = at<std::uint8_t>(configuration, 12);
    if (level == 0 || level > 153) return nullptr;
    return profile == 1 ? "1.2.840.10008.1.2.4.107" : profile == 2 ? "1.2.840.10008.1.2.4.108" : nullptr;
}

std::string readTrack(ByteSpan track, Mp4Video& video) {
    ByteSpan entries = find(track, "mdiaminfstblstsd");
    if (entries.size() < 8) return "a track without a description";
    entries = entries.subspan(8);
    const std::optional<Box> entry = takeBox(entries);
    constexpr std::size_t entryHead = 78;
    if (!entry || entry->content.size() < entryHead) return "a damaged description";
    const ByteSpan settings = entry->content.subspan(entryHead);
    if (entry->type == "avc1" || entry->type == "avc3") {
        video.syntax = syntaxOfAvc(find(settings, "avcC"));
    } else if (entry->type == "hvc1" || entry->type == "hev1") {
        video.syntax = syntaxOfHevc(find(settings, "hvcC"));
    } else {
        return "the codec " + std::string(entry->type) + " has no transfer syntax";
    }
    if (video.syntax == nullptr) return "profile and level of its video have no transfer syntax";
    video.columns = at<std::uint16_t>(entry->content, 24);
    video.rows = at<std::uint16_t>(entry->content, 26);
    video.frames = at<std::uint32_t>(find(track, "mdiaminfstblstsz"), 8);
    const ByteSpan media = find(track, "mdiamdhd");
    const bool isLong = at<std::uint8_t>(media, 0) == 1;
    const double scale = at<std::uint32_t>(media, isLong ? 20 : 12);
    const double duration =
        isLong ? static_cast<double>(at<std::uint64_t>(media, 24)) : at<std::uint32_t>(media, 16);
    if (duration > 0) video.rate = video.frames * scale / duration;
    return video.rows == 0 || video.columns == 0 || video.frames == 0 ? "a video without pictures" : "";
}

}  // namespace

std::string readMp4(int handle, std::int64_t size, Mp4Video& video) {
    std::vector<unsigned char> directory;
    for (std::int64_t offset = 0; offset < size;) {
        unsigned char head[16]{};
        if (platform::readAt(handle, head, sizeof head, offset) < 8) return "it is cut short";
        std::uint64_t length = at<std::uint32_t>(head, 0);
        if (length == 1) length = at<std::uint64_t>(head, 8);
        if (length == 0) length = static_cast<std::uint64_t>(size - offset);
        if (length < 8 || length > static_cast<std::uint64_t>(size - offset))
            return "a box is longer than the file";
        if (std::string_view(reinterpret_cast<const char*>(head) + 4, 4) == "moov") {
            if (static_cast<std::int64_t>(length) > kMostOfDirectory) return "its directory is too large";
            directory.resize(static_cast<std::size_t>(length));
            const auto wanted = static_cast<std::int64_t>(length);
            if (platform::readAt(handle, directory.data(), directory.size(), offset) != wanted)
                return "it is cut short";
            break;
        }
        offset += static_cast<std::int64_t>(length);
    }
    ByteSpan tracks = find(directory, "moov");
    while (const std::optional<Box> box = takeBox(tracks)) {
        if (box->type == "trak" && !find(box->content, "mdiaminfvmhd").empty())
            return readTrack(box->content, video);
    }
    return "no video in it";
}

}  // namespace services
