// Codec libraries in child processes: the same pictures, and faults that are told.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <tuple>

#include "image/synthetic.h"
#include "orvkit/render.h"

namespace {

using namespace synthetic;
using Bytes = std::vector<unsigned char>;

// Sanitizers take all addresses there are.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kBoundsMemory = false;
#elif defined(__has_feature)
constexpr bool kBoundsMemory = !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer);
#else
constexpr bool kBoundsMemory = true;
#endif

// From here on in such children, until it is gone.
struct Isolated {
    explicit Isolated(const char* argument, unsigned int seconds = 60) {
        DcImageIsolation how;
        how.argument = argument;
        how.seconds = seconds;
        how.children = 2;
        EXPECT_EQ(imageIsolate(&how, &result), RESULT_OK) << result.text;
    }
    ~Isolated() { (void)imageIsolate(nullptr); }
    DcImageResult result;
};

std::vector<const DcImageCodec*> encoders() {
    std::size_t count = 0;
    const DcImageCodec* const first = imageCodecs(count);
    std::vector<const DcImageCodec*> found;
    for (const DcImageCodec* codec = first; codec != first + count; ++codec) {
        if (codec->encodes) found.push_back(codec);
    }
    return found;
}
std::vector<const DcImageCodec*> libraries() {
    std::vector<const DcImageCodec*> found = encoders();
    std::erase_if(found, [](const DcImageCodec* codec) { return *codec->library == '\0'; });
    return found;
}

// All that the codec makes of a frame: codes, texts, bytes.
struct Outcome {
    int codes[4] = {};
    std::string texts[4];
    Bytes stream, frame;
    bool operator==(const Outcome&) const = default;
};
Outcome of(const DcImageCodec& codec) {
    const DcImagePixels pixels = described(61, 47, 8, false, 3);
    Outcome made;
    int step = 0;
    const auto note = [&](const Made& one) {
        made.codes[step] = one.code;
        made.texts[step++] =
            one.told.text + std::string(" ") + imagePhotometricText(one.told.pixels.photometric);
        return one.bytes;
    };
    const Bytes front{0xAB};
    made.stream = note(encoded(codec.uid, pixels, frameOf(pixels), {}, front));
    const Bytes stream(made.stream.begin() + 1, made.stream.end());
    made.frame = note(decoded(codec.uid, pixels, stream));
    (void)note(decoded(codec.uid, pixels, first(stream, std::min<std::size_t>(40, stream.size()))));
    DcImagePixels other = pixels;
    other.rows = 3;
    Made checked;
    checked.code = imageCheckFrame(codec.uid, other, stream.data(), stream.size(), &checked.told);
    (void)note(checked);
    return made;
}

TEST(Isolation, ChildrenGiveWhatTheLibrariesGiveHere) {
    for (const DcImageCodec* const codec : libraries()) {
        SCOPED_TRACE(codec->name);
        const Outcome here = of(*codec);
        EXPECT_EQ(here.codes[0], RESULT_OK) << here.texts[0];
        EXPECT_NE(here.codes[2], RESULT_OK);
        const Isolated isolated("codec-child");
        Outcome there = of(*codec);
        // OpenJPH looks at memory beside a block: what it writes depends on it, what that means does not.
        if (std::strcmp(codec->label, "HTJ2K") == 0) there.stream = here.stream;
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(there.codes[i], here.codes[i]);
            EXPECT_EQ(there.texts[i], here.texts[i]);
        }
        EXPECT_EQ(there, here);
    }
}

TEST(Isolation, WhatALibraryDoesToItsProcessIsAResult) {
    if (libraries().empty()) GTEST_SKIP() << "no codec of a library in this build";
    const DcImageCodec& codec = *libraries().front();
    const DcImagePixels pixels = described(20, 10, 8);
    const Frame frame = frameOf(pixels);
    const std::string name = std::string(codec.label) + ": ";
    const struct {
        const char* argument;
        int code;
        const char* words;
    } cases[] = {{"child-that-hangs", IMAGE_CODEC, "the encoder did not come back within 1 s"},
                 {"child-that-aborts", IMAGE_CODEC, "the encoder ended by signal 6"},
                 {"child-that-crashes", IMAGE_CODEC, "the encoder ended by signal 9"},
                 {"child-that-leaves", IMAGE_CODEC, "the encoder ended with status 3"},
                 {"child-that-takes-memory", IMAGE_NO_MEMORY, "memory is short"}};
    for (const auto& [argument, code, words] : cases) {
        if (code == IMAGE_NO_MEMORY && !kBoundsMemory) continue;
        SCOPED_TRACE(argument);
        const Isolated isolated(argument, std::strstr(words, "1 s") != nullptr ? 1 : 60);
        for (int again = 0; again < 2; ++again) {
            const Made none = encoded(codec.uid, pixels, frame, {}, Bytes(7));
            EXPECT_EQ(none.code, code);
            EXPECT_EQ(none.told.text, name + words);
            EXPECT_EQ(none.bytes.size(), 7u);
        }
        // Our own codecs need no child.
        EXPECT_EQ(encoded("rle", pixels, frame).code, RESULT_OK);
    }
}

// Pictures of other formats, and JPEG that libjpeg reads behind the name of another syntax.
TEST(Isolation, WhatElseALibraryReadsIsReadInAChild) {
    for (unsigned int i = 0; const DcPictureFormat* format = pictureFormat(i); ++i) {
        if (format->format == PICTURE_JPEG || *format->library == '\0' || !format->isThere) continue;
        DcPicture picture, here, there;
        ASSERT_EQ(picture.make(31, 17, 3, 16), RESULT_OK);
        for (unsigned int b = 0; b < 31 * 6; ++b) picture.row(b % 17)[b] = static_cast<unsigned char>(b * 37);
        ASSERT_EQ(picture.setProfile(picture.row(3), 0), RESULT_OK);
        Bytes file;
        const auto sink = [](void* to, const unsigned char* from, unsigned long long length) {
            static_cast<Bytes*>(to)->insert(static_cast<Bytes*>(to)->end(), from, from + length);
            return true;
        };
        ASSERT_EQ(pictureWrite(picture, format->format, 90, sink, &file, nullptr), RESULT_OK);
        DcPictureFound found, foundThere;
        DcRenderFault fault;
        ASSERT_EQ(pictureRead(file.data(), file.size(), 1, here, found, &fault), RESULT_OK);
        {
            const Isolated isolated("codec-child");
            ASSERT_EQ(pictureRead(file.data(), file.size(), 1, there, foundThere, &fault), RESULT_OK)
                << fault.text;
            EXPECT_EQ(pictureRead(file.data(), 60, 1, picture, found, &fault), IMAGE_STREAM) << fault.text;
        }
        EXPECT_EQ(Bytes(here.row(0), here.row(16)), Bytes(there.row(0), there.row(16)));
        EXPECT_EQ(std::tie(foundThere.pages, foundThere.bits), (std::tuple(1u, 16u)));
        const Isolated isolated("child-that-aborts");
        EXPECT_EQ(pictureRead(file.data(), file.size(), 1, there, found, &fault), IMAGE_CODEC);
        EXPECT_EQ(fault.text, std::string(format->name) + ": the decoder ended by signal 6");
    }
    if (!imageFindCodec("jpeg")->encodes) return;
    const DcImagePixels pixels = described(20, 10, 8);
    const Made stream = encoded("jpeg", pixels, frameOf(pixels));
    ASSERT_EQ(stream.code, RESULT_OK);
    const Isolated isolated("child-that-aborts");
    for (const char* const name : {"jpeg-extended", "jpeg-process14", "jpeg-lossless"}) {
        const Made made = decoded(imageFindCodec(name)->uid, pixels, stream.bytes);
        EXPECT_EQ(made.code, IMAGE_CODEC);
        EXPECT_STREQ(made.told.text, "JPEG: the decoder ended by signal 6");
    }
}

// Each cut of a stream comes back, and soon.
void expectCutsTold(const DcImageCodec& codec, const DcImagePixels& pixels, const Bytes& stream) {
    SCOPED_TRACE(codec.name);
    for (std::size_t length = 0; length < stream.size(); ++length) {
        const Made made = decoded(codec.uid, pixels, first(stream, length));
        EXPECT_EQ(made.code == RESULT_OK, made.told.text[0] == '\0');
        EXPECT_NE(made.code, IMAGE_CODEC) << length << ": " << made.told.text;
    }
}

TEST(Isolation, CutStreamsAreResultsOfTheirOwnProcess) {
    const Isolated isolated("codec-child");
    for (const DcImageCodec* const codec : encoders()) {
        const DcImagePixels pixels =
            described(19, 14, std::clamp(8u, codec->minBits, codec->maxBits), false, 3);
        const Made stream = encoded(codec->uid, pixels, frameOf(pixels));
        ASSERT_EQ(stream.code, RESULT_OK) << codec->name;
        expectCutsTold(*codec, pixels, stream.bytes);
    }
    // And of JPEG XL that was JPEG.
    const DcImageCodec& repacked = *imageFindCodec("jxl-jpeg");
    if (!repacked.decodes || !imageFindCodec("jpeg")->encodes) return;
    const DcImagePixels pixels = described(19, 14, 8, false, 3);
    const Bytes jpeg = encoded("jpeg", pixels, frameOf(pixels)).bytes;
    Bytes stream;
    ASSERT_EQ(imageRepackJpeg(jpeg.data(), jpeg.size(), true, stream), RESULT_OK);
    expectCutsTold(repacked, pixels, stream);
    for (std::size_t length = 0; length < stream.size(); ++length) {
        Bytes restored;
        EXPECT_NE(imageRepackJpeg(stream.data(), length, false, restored), RESULT_OK) << length;
        EXPECT_TRUE(restored.empty());
    }
}

TEST(Isolation, ThreadsShareTheChildren) {
    const Isolated isolated("codec-child");
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 5; ++t) {
        threads.emplace_back([&wrong] {
            for (const DcImageCodec* const codec : libraries()) wrong += of(*codec).codes[1] != RESULT_OK;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

// Of three calls that need a child each, none is left waiting for the others.
TEST(Isolation, AChildThatCannotBeHadIsNoMoreThanThat) {
    std::vector<const DcImageCodec*> codecs = libraries();
    if (codecs.empty()) GTEST_SKIP() << "no codec of a library in this build";
    const Isolated isolated("codec-child");
    rlimit files{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &files), 0);
    const rlimit few{3, files.rlim_max};
    ASSERT_EQ(of(*codecs.front()).codes[1], RESULT_OK);  // by the one that is there
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    std::vector<Outcome> outcomes;
    for (const DcImageCodec* const codec : codecs) outcomes.push_back(of(*codec));
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &files), 0);
    EXPECT_EQ(outcomes.front().codes[1], RESULT_OK);
    for (const Outcome& outcome : outcomes) {
        EXPECT_TRUE(outcome.codes[0] == RESULT_OK || outcome.codes[0] == IMAGE_NO_CHILD) << outcome.texts[0];
    }
    for (const DcImageCodec* const codec : codecs) EXPECT_EQ(of(*codec).codes[1], RESULT_OK);
}

TEST(Isolation, WithoutAProgramEverythingStaysAsItWas) {
    DcImageIsolation how;
    how.program = "/nowhere/at/all";
    DcImageResult told;
    EXPECT_EQ(imageIsolate(&how, &told), IMAGE_NO_CHILD);
    EXPECT_EQ(told.text, std::string("no child process can be had: No such file or directory"));
    how.program = "/bin/true";  // which answers nothing
    EXPECT_EQ(imageIsolate(&how, &told), IMAGE_NO_CHILD);
    EXPECT_NE(told.text[0], '\0');
    how.seconds = 0;
    EXPECT_EQ(imageIsolate(&how, &told), IMAGE_OPTION);
    for (const DcImageCodec* const codec : libraries()) EXPECT_EQ(of(*codec).codes[1], RESULT_OK);
}

}  // namespace
