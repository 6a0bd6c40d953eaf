#include "image/isolation.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>

#include "foundation/text.h"
#include "image/jpeg_header.h"
#include "platform/child.h"

namespace orvkit::image {

namespace {

namespace parent = platform::parent;
using platform::Child;
using platform::Deadline;

constexpr std::size_t kUid = 64;
constexpr std::uint64_t kTimed = std::uint64_t{32} << 20;  // bytes of a frame to each allowance of time
constexpr std::uint64_t kExpansion = 64;                   // of a frame, in a library's memory
constexpr std::size_t kPiece = std::size_t{1} << 20;
constexpr std::size_t kMostIdle = 8;  // children that wait, each with another codec
constexpr unsigned int kMostSeconds = 24 * 3600;
constexpr unsigned int kStartSeconds = 60;  // of the first child, on a machine that is busy

// Files of pictures, beside the codecs.
constexpr Coder kPictures{};
const Codec kPictureFiles{{"picture", "", "", "", false, false, 0, 0, false, false, true, false}, &kPictures};
constexpr std::uint64_t kMostOfPicture = 4096;  // bytes of one to each of its file

// In front of the pixels of such a one, and its profile.
struct PictureHead {
    DcPictureFound found;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t samples = 0;
    std::uint32_t bits = 0;
    std::uint32_t profile = 0;  // bytes
};

// What is sent in front of `length` bytes. Both sides are the same program, or nothing is understood.
struct Request {
    std::uint32_t form = 0;
    Work work = Work::nothing;
    char uid[kUid + 1] = {};
    DcImagePixels pixels;
    DcImageOptions options;
    std::uint64_t room = 0;
    std::uint64_t length = 0;
    std::uint32_t seconds = 0;
    std::uint64_t memory = 0;
};
struct Reply {
    std::uint32_t form = 0;
    int code = RESULT_OK;
    DcImageResult result;
    std::uint64_t length = 0;
};
constexpr std::uint32_t kForm = 1u << 16 | (sizeof(Request) + sizeof(Reply));
static_assert(std::is_trivially_copyable_v<Request> && std::is_trivially_copyable_v<Reply> &&
              std::is_trivially_copyable_v<PictureHead>);

template <typename Record>
Bytes bytesOf(const Record& record) {
    return {reinterpret_cast<const unsigned char*>(&record), sizeof record};
}
template <typename Record>
Room roomOf(Record& record) {
    return {reinterpret_cast<unsigned char*>(&record), sizeof record};
}

// ---- the parent's side
// -------------------------------------------------------------------------------------

// A child, and the one codec that it has loaded.
struct Worker {
    Child child;
    const Coder* coder = nullptr;  // null: none yet
    bool isFresh = true;
};

// What there is of children, lent to one call each.
class Pool {
  public:
    explicit Pool(const DcImageIsolation& isolation)
        : program_(isolation.program != nullptr ? isolation.program : ""),
          argument_(isolation.argument),
          seconds_(isolation.seconds),
          memory_(std::uint64_t{isolation.megabytes} << 20),
          most_(isolation.children != 0 ? isolation.children
                                        : std::max(1u, std::thread::hardware_concurrency())) {
        idle_.reserve(most_ + kMostIdle);
    }

    // Waits while as many are at work as may be.
    void enter() {
        std::unique_lock lock(mutex_);
        free_.wait(lock, [this] { return lent_ < most_; });
        ++lent_;
    }
    // One that has the codec, or has none yet, or a new one. Null: `fault` tells why.
    std::unique_ptr<Worker> take(const Coder* coder, std::string& fault) {
        std::unique_ptr<Worker> taken = takeIdle(coder);
        if (taken != nullptr && (taken->coder == coder || taken->coder == nullptr)) return taken;
        taken = std::make_unique<Worker>();
        if (!taken->child.start(program_, argument_, fault)) taken.reset();
        return taken;
    }
    // Null: there is none, or it has ended.
    void leave(std::unique_ptr<Worker> worker) noexcept {
        {
            const std::lock_guard lock(mutex_);
            --lent_;
            if (worker != nullptr && idle_.size() < idle_.capacity()) idle_.push_back(std::move(worker));
        }
        free_.notify_one();
    }
    unsigned int seconds(std::uint64_t frame) const {
        return static_cast<unsigned int>(
            std::min<std::uint64_t>(kMostSeconds, seconds_ * (1 + frame / kTimed)));
    }
    std::uint64_t memory(std::uint64_t frame) const { return memory_ + kExpansion * frame; }

  private:
    // One of another codec, to be ended, where there are enough.
    std::unique_ptr<Worker> takeIdle(const Coder* coder) {
        const std::lock_guard lock(mutex_);
        auto found = std::ranges::find(idle_, coder, &Worker::coder);
        if (found == idle_.end()) found = std::ranges::find(idle_, nullptr, &Worker::coder);
        if (found == idle_.end() && idle_.size() >= kMostIdle) found = idle_.begin();
        if (found == idle_.end()) return nullptr;
        std::unique_ptr<Worker> taken = std::move(*found);
        idle_.erase(found);
        return taken;
    }

    std::string program_;
    std::string argument_;
    unsigned int seconds_;
    std::uint64_t memory_;
    std::size_t most_;
    std::mutex mutex_;
    std::condition_variable free_;
    std::size_t lent_ = 0;
    std::vector<std::unique_ptr<Worker>> idle_;
};

struct Setting {
    std::mutex mutex;
    std::shared_ptr<Pool> pool;
};
Setting& setting() {
    static Setting setting;
    return setting;
}
std::shared_ptr<Pool> currentPool() noexcept {
    const std::lock_guard lock(setting().mutex);
    return setting().pool;
}
// Those who are at work with the one of before go on with it.
void usePool(std::shared_ptr<Pool> pool) noexcept {
    const std::lock_guard lock(setting().mutex);
    setting().pool.swap(pool);
}

// What a reply may say of the pixels, whoever has made it: nothing that a room would be too small for.
bool isSound(const DcImagePixels& told, const DcImagePixels& asked) {
    return imageCheckPixels(told) == RESULT_OK && told.rows == asked.rows && told.columns == asked.columns &&
           told.frames == asked.frames && told.samples == asked.samples &&
           told.bitsAllocated == asked.bitsAllocated && told.isSigned == asked.isSigned;
}

const char* doer(Work work) {
    return work == Work::encode || work == Work::pack ? "the encoder " : "the decoder ";
}

// One call with one child, from the request to the last byte of the reply.
class Talk {
  public:
    Talk(const Call& call, const Pool& pool, Child& child)
        : call_(call), child_(child), deadline_(start(pool)) {}

    // Nothing is done before it was heard to the end.
    bool ask() { return child_.send(bytesOf(request_), deadline_) && child_.send(call_.in, deadline_); }
    // False: it has not answered, or not with what there can be.
    bool hear(DcImageResult& result, Fault& fault) {
        Reply reply;
        if (!child_.receive(roomOf(reply), deadline_) || reply.form != kForm) return false;
        if (!(call_.out != nullptr ? append(reply.length) : fill(reply))) return false;
        reply.result.text[sizeof reply.result.text - 1] = '\0';
        const bool ofPixels = call_.work >= Work::check && call_.work <= Work::encode;
        if (ofPixels && reply.code == RESULT_OK && !isSound(reply.result.pixels, call_.pixels)) return false;
        if (reply.code != RESULT_OK) fault = {reply.code, wordsOf(reply)};
        result = reply.result;
        return true;
    }
    // Why it has not; the child has ended then.
    Fault fault() {
        const bool late = deadline_.left() == 0;
        const std::string how = child_.end();
        std::string words = doer(call_.work);
        if (late) {
            words += "did not come back within " + std::to_string(request_.seconds) + " s";
        } else {
            words += how.empty() ? "answered what is no answer" : how;
        }
        return {IMAGE_CODEC, words};
    }

  private:
    Deadline start(const Pool& pool) {
        const std::uint64_t frame =
            std::max<std::uint64_t>(imageFrameBytes(call_.pixels), call_.room.size() + call_.in.size());
        const bool isPicture = call_.work == Work::picture;
        most_ = kPiece + frame * (isPicture ? kMostOfPicture : call_.work == Work::unpack ? kExpansion : 2);
        request_.form = kForm;
        request_.work = call_.work;
        if (call_.codec != nullptr) copyText(request_.uid, call_.codec->facts.uid);
        request_.pixels = call_.pixels;
        request_.options = call_.options;
        request_.room = call_.room.size();
        request_.length = call_.in.size();
        request_.seconds = call_.work == Work::nothing ? kStartSeconds : pool.seconds(frame);
        request_.memory = pool.memory(isPicture ? kMostOfPicture / kExpansion * frame : frame);
        return Deadline(static_cast<int>(request_.seconds) * 1000);
    }
    // Without the name in front, which comes there again.
    std::string wordsOf(const Reply& reply) const {
        const std::string text = reply.result.text;
        const std::string name = call_.codec != nullptr ? call_.codec->facts.label + std::string(": ") : "";
        return text.starts_with(name) ? text.substr(name.size()) : text;
    }
    bool fill(const Reply& reply) {
        const bool whole = call_.work == Work::decode && reply.code == RESULT_OK;
        const Room room = whole ? call_.room : Room{};
        return reply.length == room.size() && child_.receive(room, deadline_);
    }
    bool append(std::uint64_t left) {
        if (left > most_) return false;
        while (left > 0) {
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, kPiece));
            call_.out->resize(call_.out->size() + count);
            if (!child_.receive(Room(*call_.out).last(count), deadline_)) return false;
            left -= count;
        }
        return true;
    }

    const Call& call_;
    Child& child_;
    Request request_;
    std::uint64_t most_ = 0;
    Deadline deadline_;
};

// A child for the time of a call.
class Loan {
  public:
    explicit Loan(Pool& pool) : pool_(pool) { pool_.enter(); }
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    ~Loan() { pool_.leave(std::move(worker)); }
    std::unique_ptr<Worker> worker;

  private:
    Pool& pool_;
};

Fault callIn(Pool& pool, const Call& call, DcImageResult& result) {
    const Coder* const coder = call.codec != nullptr ? call.codec->coder : nullptr;
    for (;;) {
        std::string why;
        Loan loan(pool);
        loan.worker = pool.take(coder, why);
        if (loan.worker == nullptr) return {IMAGE_NO_CHILD, "no child process can be had: " + why};
        const bool isFresh = std::exchange(loan.worker->isFresh, false);
        Talk talk(call, pool, loan.worker->child);
        Fault fault;
        const bool asked = talk.ask();
        if (asked && talk.hear(result, fault)) {
            if (coder != nullptr) loan.worker->coder = coder;
            return fault;
        }
        fault = talk.fault();
        loan.worker.reset();
        // One that has ended since its last call, for whatever reason, has not seen this one.
        if (asked || isFresh) return fault;
    }
}

// Takes back what was put behind a stream, unless that is whole.
struct Restoring {
    std::vector<unsigned char>& out;
    std::size_t before = out.size();
    mutable bool isOff = false;
    ~Restoring() {
        if (!isOff) out.resize(before);
    }
};

// ---- the child's side
// --------------------------------------------------------------------------------------

// Whatever the codec loads or opens, it does on the way.
void warmUp(const Codec& codec) {
    if (&codec == &kPictureFiles) {
        DcPicture none;
        DcPictureFound found;
        (void)pictureRead("II*\0\10\0\0\0", 8, 1, none, found, nullptr);
        return;
    }
    DcImagePixels one;
    one.rows = one.columns = 1;
    one.bitsAllocated = one.bitsStored = 8;
    one.highBit = 7;
    unsigned char sample = 0;
    std::vector<unsigned char> stream;
    (void)imageEncodeFrame(codec.facts.uid, one, &sample, 1, {}, stream);
    if (stream.empty()) stream.assign(2, 0);
    (void)imageDecodeFrame(codec.facts.uid, one, stream.data(), stream.size(), &sample, 1);
}

int readPicture(const Request& request, const Scratch& in, Scratch& out, DcImageResult& result) {
    DcPicture picture;
    DcRenderFault fault;
    PictureHead head;
    const int code = pictureRead(in.data(), in.size(), request.pixels.frames, picture, head.found, &fault);
    result.pixels.frames = head.found.pages;
    copyText(result.text, fault.text);
    if (code != RESULT_OK) return code;
    head.width = picture.width();
    head.height = picture.height();
    head.samples = picture.samples();
    head.bits = picture.bits();
    head.profile = picture.profileLength();
    const auto append = [&out](Bytes bytes) { out.insert(out.end(), bytes.begin(), bytes.end()); };
    out.reserve(static_cast<std::size_t>(sizeof head + picture.height() * picture.rowBytes() + head.profile));
    append(bytesOf(head));
    append({picture.row(0), static_cast<std::size_t>(picture.height() * picture.rowBytes())});
    append({picture.profile(), head.profile});
    return code;
}

int work(const Request& request, const Scratch& in, Scratch& out, DcImageResult& result) {
    switch (request.work) {
        case Work::nothing:
            return RESULT_OK;
        case Work::check:
            return imageCheckFrame(request.uid, request.pixels, in.data(), in.size(), &result);
        case Work::decode:
            out.resize(static_cast<std::size_t>(request.room));
            return imageDecodeFrame(request.uid, request.pixels, in.data(), in.size(), out.data(), out.size(),
                                    &result);
        case Work::encode:
            return imageEncodeFrame(request.uid, request.pixels, in.data(), in.size(), request.options, out,
                                    &result);
        case Work::pack:
        case Work::unpack:
            return imageRepackJpeg(in.data(), in.size(), request.work == Work::pack, out, &result);
        case Work::picture:
            return readPicture(request, in, out, result);
    }
    return IMAGE_NO_CODEC;
}

// One call; false when there is nobody any more who calls.
bool serveOne(const Codec*& loaded, void (*before)()) {
    Request request;
    if (!parent::receive(roomOf(request)) || request.form != kForm) return false;
    const bool isPicture = request.work == Work::picture;
    const Codec* const codec = isPicture ? &kPictureFiles : findCodec(request.uid);
    if (codec != nullptr && loaded == nullptr) {
        warmUp(*codec);
        parent::closeFiles();
        loaded = codec;
    }
    // Late enough for the other side to be sure that it was waiting for something else.
    parent::allow(2 * request.seconds + 1, request.memory);
    Scratch in(static_cast<std::size_t>(request.length));
    if (!parent::receive(in)) return false;
    Reply reply;
    reply.form = kForm;
    Scratch out;
    try {
        if (before != nullptr && codec != nullptr) before();
        reply.code = work(request, in, out, reply.result);
    } catch (const std::bad_alloc&) {
        reply.code = IMAGE_NO_MEMORY;
        copyText(reply.result.text, "memory is short");
    }
    if (reply.code != RESULT_OK) out.clear();
    reply.length = out.size();
    const bool told = parent::send(bytesOf(reply)) && parent::send(out);
    parent::allow(0, request.memory);
    return told;
}

}  // namespace

bool isIsolated(const Codec& codec, Bytes stream) noexcept {
    if (codec.coder == nullptr || currentPool() == nullptr) return false;
    if (*codec.facts.library != '\0') return true;
    return (codec.coder == &kJpegExtended || codec.coder == &kJpegLossless) && jpeg::isLibjpegs(stream);
}

bool arePicturesIsolated() noexcept {
    return currentPool() != nullptr;
}

int readIsolated(const render::PictureFile& file) {
    DcImagePixels asked;
    asked.frames = file.page;
    DcImageResult result;
    std::vector<unsigned char> out;
    const Fault fault = callIsolated({Work::picture, &kPictureFiles, asked, file.bytes, {}, &out}, result);
    file.found.pages = result.pixels.frames;
    if (fault) {
        const bool isTold = result.text[0] != '\0';
        const DcPictureFormat& format = *pictureFormat(static_cast<unsigned int>(file.found.format));
        const std::string words = isTold ? fault.words : std::string(format.name) + ": " + fault.words;
        return render::cannotRead(file, fault.code, words.c_str());
    }
    PictureHead head;
    const auto answer = [&](Bytes bytes) {
        if (bytes.size() < sizeof head) return false;
        std::memcpy(&head, bytes.data(), sizeof head);
        DcPicture made;
        if (made.make(head.width, head.height, head.samples, head.bits) != RESULT_OK) return false;
        const auto pixels = static_cast<std::size_t>(made.height() * made.rowBytes());
        if (bytes.size() != sizeof head + pixels + head.profile) return false;
        std::memcpy(made.row(0), bytes.data() + sizeof head, pixels);
        file.picture.swap(made);
        return file.picture.setProfile(bytes.data() + sizeof head + pixels, head.profile) == RESULT_OK;
    };
    if (!answer(out)) return render::cannotRead(file, IMAGE_CODEC, "the decoder answered what is no answer");
    const PICTURE_FORMAT format = file.found.format;
    file.found = head.found;
    file.found.format = format;
    return RESULT_OK;
}

Fault callIsolated(const Call& call, DcImageResult& result) {
    const std::shared_ptr<Pool> pool = currentPool();
    if (pool == nullptr) return {IMAGE_NO_CHILD, "no child process"};
    if (call.out == nullptr) return callIn(*pool, call, result);
    const Restoring restoring{*call.out};
    Fault fault = callIn(*pool, call, result);
    restoring.isOff = !fault;
    return fault;
}

void serveIsolated(void (*before)()) noexcept {
    const Codec* loaded = nullptr;
    while (serveOne(loaded, before)) {
    }
    parent::leave(0);
}

}  // namespace orvkit::image

int imageIsolate(const DcImageIsolation* isolation, DcImageResult* result) noexcept {
    using namespace orvkit::image;
    DcImageResult unused;
    DcImageResult& found = result != nullptr ? *result : unused;
    found = {};
    const auto tell = [&](int code, const std::string& words) {
        (void)std::snprintf(found.text, sizeof found.text, "%s", words.c_str());
        return code;
    };
    try {
        if (isolation == nullptr) return usePool(nullptr), RESULT_OK;
        if (isolation->argument == nullptr || isolation->seconds == 0)
            return tell(IMAGE_OPTION, "a child process needs an argument and a time");
        auto pool = std::make_shared<Pool>(*isolation);
        if (const Fault fault = callIn(*pool, {Work::nothing, nullptr, found.pixels, {}}, found))
            return tell(IMAGE_NO_CHILD, fault.words);
        usePool(std::move(pool));
        return RESULT_OK;
    } catch (const std::bad_alloc&) {
        return tell(IMAGE_NO_MEMORY, "memory is short");
    }
}

void imageServeIsolated() noexcept {
    orvkit::image::serveIsolated(nullptr);
}
