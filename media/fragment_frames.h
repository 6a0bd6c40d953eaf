// Which fragments of encapsulated pixel data make which frame (PS3.5 A.4).
#ifndef ORVKIT_MEDIA_FRAGMENT_FRAMES_H
#define ORVKIT_MEDIA_FRAGMENT_FRAMES_H

#include <cstdint>
#include <mutex>
#include <vector>

#include "media/stored_value.h"

namespace orvkit {

// Several threads may find frames at once.
class FragmentFrames {
  public:
    struct Part {  // bytes of the value
        std::uint64_t at;
        std::uint64_t length;
    };

    // `endsDelimited`: the value is the rest of a file, in which a delimitation ends it. All three must stay.
    // The tables are those of (7FE0,0001) and (7FE0,0002), empty where there are none.
    FragmentFrames(StoredValue& value, const StoredValue& offsets, const StoredValue& lengths,
                   std::uint64_t frames, bool endsDelimited);

    // Frames count from 0 here. The codes of DcFrames::find.
    int find(std::uint64_t frame, std::vector<Part>& parts);
    FRAMES_BY by() const;
    bool refused() const;

  private:
    struct Table {
        const StoredValue* in;
        std::uint64_t at;
        unsigned int width;  // bytes of an entry
        std::uint64_t count;
        bool usable;
    };
    struct Fragment {
        std::uint64_t at;  // of its bytes
        std::uint32_t length;
        bool begins;  // they look like the beginning of a codestream
    };
    struct Head {
        enum class Kind : unsigned char { item, end, other, past, failed } kind;
        std::uint64_t length;
    };
    // unsure: the file is cut there, or the frame has very many fragments; the pass tells.
    enum class Answer : unsigned char { right, wrong, unsure, failed };
    enum class Grouping : unsigned char { none, each, all, listed };

    Head headAt(std::uint64_t at) const;
    static bool entry(const Table& table, std::uint64_t index, std::uint64_t& value);
    template <typename See>
    static bool eachEntry(const Table& table, See see);
    bool isSound(const Table& table) const;
    Table& table(FRAMES_BY by) { return by == FRAMES_BY_EXTENDED_TABLE ? extended_ : basic_; }

    // With the lock held:
    void settle();
    void refuse();
    int pass();
    void walk(bool& failed, bool& tooMany);
    void group();
    bool groupByTable(const Table& table);
    bool groupByLooks();

    Answer byTable(const Table& table, std::uint64_t frame, std::vector<Part>& parts) const;
    int byPass(std::uint64_t frame, std::vector<Part>& parts) const;
    int trim(std::uint64_t frame, std::vector<Part>& parts);

    StoredValue& value_;
    std::uint64_t frames_;
    bool endsDelimited_;
    std::uint64_t first_ = 0;  // item behind the Basic Offset Table
    Table extended_;
    Table lengths_;
    Table basic_{};

    mutable std::mutex mutex_;
    FRAMES_BY by_ = FRAMES_BY_PASS;
    bool settled_ = false;
    bool refused_ = false;

    // Made by the pass, and then left alone:
    bool passed_ = false;
    bool ended_ = false;  // the fragments have an end, and nothing strange stands between them
    bool cut_ = false;    // the last fragment is not all there
    Grouping grouping_ = Grouping::none;
    std::vector<Fragment> fragments_;
    std::vector<std::size_t> groups_;  // the first fragment of each frame
};

}  // namespace orvkit

#endif
