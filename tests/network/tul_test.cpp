// The upper layer: putting messages together, and where their pixels go.
#include "orvkit/tul.h"

#include "network/pair.h"
#include "network/pdus.h"
#include "support/dataset.h"
#include "support/temp_dir.h"

using orvkit::ElemAccess;

namespace {

constexpr int kContext = 1;
constexpr DICT_UID kJpeg = UID_JPEG_BASELINE;
constexpr DICT_UID kEverySyntax[] = {kImplicit, kExplicit, kBig, kJpeg};

std::string textOf(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

// An upper layer in the middle of an association whose only context is `kContext`.
class Upper : public DcTul {
  public:
    Upper() : DcTul(TSM_ROLE_SCU, 0) {}

    // Receives from a peer that sends these bytes and closes.
    int receive(const Bytes& bytes, DICT_UID xferSyn, TSM_STATE state = TSM_STATE_06_ASSOCIATED) {
        closeSockConv();
        SocketPair sockets;
        setSockHandles(TSM_ROLE_SCU, sockets.giveOurs(), PDU_SOCKET_NONE);
        DcTsmTimeoutInfo timeouts = seconds(5);
        setTimeoutInfo(timeouts);
        setState(state);
        sockets.send(bytes);
        sockets.closePeer();
        const int result = next(xferSyn);
        closeSockConv();
        return result;
    }
    int next(DICT_UID xferSyn, PDU_BLOCK block = PDU_BLOCK_WAIT) {
        unsigned char ids[PDU_PRES_CTX_MAX] = {kContext, 3};
        static DICT_UID syntaxes[PDU_PRES_CTX_MAX];
        syntaxes[0] = syntaxes[1] = xferSyn;
        DcPdu* pdu = nullptr;
        const int result = readNextPdu(&pdu, ids, syntaxes, block);
        received.reset(pdu);
        return result;
    }
    DcPduDataTf* message() { return dynamic_cast<DcPduDataTf*>(received.get()); }

    std::unique_ptr<DcPdu> received;
};

// One fragment in one PDU.
Bytes fragment(const Bytes& data, bool last, int context = kContext, int control = 0) {
    return pdu(4, pdv(context, control | (last ? 2 : 0), data));
}

// A data set in fragments that end at the given offsets; every other PDU carries two.
Bytes inFragments(const Bytes& data, const std::vector<std::size_t>& ends) {
    Bytes all, body;
    std::size_t from = 0;
    for (std::size_t i = 0; i <= ends.size(); ++i) {
        const std::size_t to = i < ends.size() ? ends[i] : data.size();
        const bool last = i == ends.size();
        append(body, pdv(kContext, last ? 2 : 0,
                         {data.begin() + static_cast<std::ptrdiff_t>(from),
                          data.begin() + static_cast<std::ptrdiff_t>(to)}));
        from = to;
        if (i % 3 == 1 && !last) continue;
        append(all, pdu(4, body));
        body.clear();
    }
    return all;
}

std::vector<std::size_t> every(std::size_t step, std::size_t size) {
    std::vector<std::size_t> ends;
    for (std::size_t at = step; at < size; at += step) ends.push_back(at);
    return ends;
}

// A data set with an icon, whose pixels are not the ones that are looked for, and its pixel value.
struct Image {
    explicit Image(DICT_UID xferSyn, std::size_t pixels = 20) : front(xferSyn) {
        front.elem(0x00080018, "UI", std::string("1.2.3\0", 6));
        front.header(0x00880200, "SQ", Stream::undefined).item(Stream::undefined);
        front.elem(0x7FE00010, "OW", "icon").endItem().endSequence();
        front.elem(0x00100010, "PN", "Doe^John");
        Stream content(xferSyn);
        if (xferSyn == kJpeg) {
            content.item(0).item(static_cast<std::uint32_t>(pixels)).raw(std::string(pixels, 'p'));
            content.endSequence();
        } else {
            content.raw(std::string(pixels, 'p'));
        }
        value = content.bytes();
        Stream header(xferSyn);
        header.header(0x7FE00010, xferSyn == kJpeg ? "OB" : "OW",
                      xferSyn == kJpeg ? Stream::undefined : content.size());
        whole = joined({front.bytes(), header.bytes(), value});
        counted = value.size() - (xferSyn == kJpeg ? 8 : 0);
    }
    Stream front;
    Bytes value;          // with the items of encapsulated pixels
    Bytes whole;          // all of the data set
    std::size_t counted;  // of the value without its delimiter
};

struct Taken {
    Bytes pixels;
    int fronts = 0;
    std::string name;
    unsigned char context = 0;

    static int pixelBytes(void* user, unsigned char* data, unsigned int length, DICT_UID) {
        append(static_cast<Taken*>(user)->pixels, Bytes(data, data + length));
        return 99;  // ignored
    }
    static int front(void* user, DcElemList& elements, DICT_UID, unsigned char* const context) {
        auto* const taken = static_cast<Taken*>(user);
        ++taken->fronts;
        taken->name = text(elements, 0x00100010);
        taken->context = *context;
        EXPECT_EQ(elemAt(elements, 0x7FE00010), nullptr);
        return 0;
    }
};

// Wherever the borders of the fragments lie, pixels arrive whole at each place that they are sent to.
TEST(UpperLayer, PixelsGoWhereTheyAreWanted) {
    const TempDir dir;
    const std::string path = dir / "pixels";
    for (const DICT_UID syntax : kEverySyntax) {
        const Image image(syntax);
        std::vector<std::vector<std::size_t>> cuts = {{}};
        for (std::size_t step = 1; step < image.whole.size(); ++step) {
            cuts.push_back({step});
            if (step < 16) cuts.push_back(every(step, image.whole.size()));
        }
        for (const auto& ends : cuts) {
            SCOPED_TRACE("syntax " + std::to_string(syntax) + ", " + std::to_string(ends.size()) +
                         " cuts, first " + (ends.empty() ? "none" : std::to_string(ends[0])));
            const Bytes stream = inFragments(image.whole, ends);
            writeWhole(path, "before");
            Taken taken;
            Upper upper;
            ASSERT_EQ(upper.setPixelDataFileName(path.c_str()), 0);
            upper.registerPixDataCB(&taken, &Taken::pixelBytes);
            upper.registerPixRecvCB(&taken, &Taken::front);
            ASSERT_EQ(upper.receive(stream, syntax), 0);
            ASSERT_NE(upper.message(), nullptr);
            EXPECT_EQ(readWhole(path), "before" + textOf(image.value));
            EXPECT_EQ(taken.pixels, image.value);
            EXPECT_EQ(taken.fronts, 1);
            EXPECT_EQ(taken.name, "Doe^John");
            EXPECT_EQ(taken.context, kContext);
            EXPECT_EQ(text(*upper.message(), 0x00100010), "Doe^John");
            const DcElem* pixels = elemAt(*upper.message(), 0x7FE00010);
            ASSERT_NE(pixels, nullptr);
            const DcBuf* buffer = ElemAccess::firstBuf(*pixels);
            ASSERT_NE(buffer, nullptr);
            EXPECT_EQ(buffer->getFileName(), path);
            EXPECT_EQ(buffer->getOffset(), 6);
            EXPECT_EQ(buffer->getLen(), image.counted);

            ASSERT_EQ(upper.setPixelDataFileName(nullptr), 0);
            taken = Taken();
            ASSERT_EQ(upper.receive(stream, syntax), 0);
            EXPECT_EQ(taken.pixels, image.value);
            EXPECT_EQ(taken.fronts, 1);
            pixels = elemAt(*upper.message(), 0x7FE00010);
            ASSERT_NE(pixels, nullptr);
            EXPECT_NE(rawBytes(*pixels).find(std::string(20, 'p')), std::string::npos);
        }
    }
}

// No value begins behind an empty one that ends the data set: it stays in memory, and nobody is told of it.
TEST(UpperLayer, EmptyPixelsStayWhereTheyAre) {
    const TempDir dir;
    const std::string path = dir / "pixels";
    const Image image(kExplicit, 0);
    Taken taken;
    Upper upper;
    ASSERT_EQ(upper.setPixelDataFileName(path.c_str()), 0);
    upper.registerPixRecvCB(&taken, &Taken::front);
    ASSERT_EQ(upper.receive(inFragments(image.whole, {10}), kExplicit), 0);
    EXPECT_EQ(taken.fronts, 0);
    const DcElem* const pixels = elemAt(*upper.message(), 0x7FE00010);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(ElemAccess::firstBuf(*pixels), nullptr);
    EXPECT_TRUE(readWhole(path).empty());
    // Others go behind what the file has, wherever that ends.
    if (!keepsHoles(dir / "holes")) return;
    std::filesystem::resize_file(path, 5ull << 30);
    ASSERT_EQ(upper.receive(inFragments(Image(kExplicit).whole, {10}), kExplicit), 0);
    EXPECT_EQ(ElemAccess::firstBuf(*elemAt(*upper.message(), 0x7FE00010))->getOffset64(), 5ull << 30);
}

// The connection stays open behind the answer to our release in a collision: it is read to its end.
TEST(UpperLayer, WhatFollowsAnAnswerToAReleaseIsUnderstood) {
    Upper upper;
    SocketPair sockets;
    upper.setSockHandles(TSM_ROLE_SCP, sockets.giveOurs(), PDU_SOCKET_NONE);
    upper.setState(TSM_STATE_10_COLLISION_SCP);
    sockets.send(joined({pdu(6, {0, 0, 0, 0}), pdu(7, {0, 0, 0, 0})}));
    EXPECT_EQ(upper.next(kExplicit), TSM_RELEASE_CONFIRM);
    EXPECT_EQ(upper.getState(), TSM_STATE_12_COLLISION_SCP_RP);
    EXPECT_EQ(upper.next(kExplicit), TSM_ABORT_INDICATION);
}

TEST(UpperLayer, WhatBreaksAMessageIsRefusedByName) {
    const Bytes data = Image(kExplicit).whole;
    const Bytes begun = fragment(data, false);
    Bytes cut = fragment(data, true);
    cut.resize(cut.size() - 3);
    const Bytes piece = pdv(1, 1, Bytes(8, 'c'));
    const Bytes mixed = pdu(4, joined({piece, pdv(1, 0, {0})}));
    const std::pair<Bytes, const char*> cases[] = {
        {joined({begun, pdu(5, {0, 0, 0, 0})}),
         "Out-of-sequence PDU 0x05 received, expecting P-DATA-TF PDU, Association will be closed"},
        {joined({begun, cut}), "Incomplete DIMSE message received, Association will be closed"},
        {fragment(data, true, 5), "Invalid Presentation Context ID - 5, association will be closed"},
        {joined({begun, fragment(data, true, 3)}),
         "Presentation Context ID 3 within a message of 1, Association will be closed"},
        {joined({pdu(4, piece), mixed, mixed}), "Command within a data set, Association will be closed"},
        {joined({begun, fragment(data, true, 1, 1)}),
         "Command within a data set, Association will be closed"},
        {begun, "error code 0x3a08"},  // the peer is gone between two fragments
    };
    for (const auto& [bytes, text] : cases) {
        CaptureLog log;
        Upper upper;
        EXPECT_EQ(upper.receive(bytes, kExplicit), TUL_PDU_REFUSED) << text;
        EXPECT_EQ(upper.received, nullptr);
        EXPECT_EQ(log.lines().at(0).text, text);
        EXPECT_EQ(upper.next(kExplicit), TUL_NO_CONNECTION);
    }
}

struct Sink {
    Bytes bytes;
    int lasts = 0, answer = 0;
    static int take(void* user, const unsigned char* data, unsigned int length, DICT_UID xferSyn, int last) {
        auto* const sink = static_cast<Sink*>(user);
        append(sink->bytes, Bytes(data, data + length));
        sink->lasts += last != 0 ? 1 : 0;
        EXPECT_EQ(xferSyn, kJpeg);
        return sink->answer;
    }
};

TEST(UpperLayer, DataSetsPassThroughTheirCallback) {
    const Image image(kJpeg);
    Sink sink;
    Upper upper;
    upper.registerDataSetCB(&sink, &Sink::take);
    // The first of them is empty.
    for (const auto& ends : {std::vector<std::size_t>{0},
                             {},
                             every(7, image.whole.size()),
                             every(image.whole.size(), 2 * image.whole.size())}) {
        sink = Sink();
        ASSERT_EQ(upper.receive(inFragments(image.whole, ends), kJpeg), 0);
        EXPECT_EQ(sink.bytes, image.whole);
        EXPECT_EQ(sink.lasts, 1);
        EXPECT_EQ(upper.message()->firstElem(), nullptr);
    }
    sink = Sink();
    const Stream command = Stream(kImplicit).elem(0x00000100, "US", std::string("\x30\0", 2));
    ASSERT_EQ(upper.receive(fragment(command.bytes(), true, kContext, 1), kJpeg), 0);
    EXPECT_TRUE(sink.bytes.empty()) << "commands are the message's";
    EXPECT_NE(elemAt(*upper.message(), 0x00000100), nullptr);

    // A command in two pieces, the second in one PDU with the data: the message ends where the command does.
    const Bytes& whole = command.bytes();
    const auto half = whole.begin() + 5;
    sink = Sink();
    EXPECT_EQ(
        upper.receive(
            joined({fragment({whole.begin(), half}, false, kContext, 1),
                    pdu(4, joined({pdv(kContext, 3, {half, whole.end()}), pdv(kContext, 2, image.whole)}))}),
            kJpeg),
        0);
    EXPECT_NE(elemAt(*upper.message(), 0x00000100), nullptr);
    EXPECT_TRUE(sink.bytes.empty()) << "the data are handed out by the next call, if the connection holds";

    // Whatever number the application ends the reception with, it is refused and no half message comes out.
    for (const int answer : {7, ELEM_REFUSED, TSM_DATA_INDICATION}) {
        const CaptureLog log;
        sink.answer = answer;
        EXPECT_EQ(upper.receive(fragment(image.whole, true), kJpeg), TUL_PDU_REFUSED);
        EXPECT_EQ(upper.received, nullptr);
    }

    // Where the application gives room, its bytes are put there.
    struct Room {
        Bytes bytes = Bytes(100);
        unsigned int used = 0;
        unsigned int left() const { return static_cast<unsigned int>(bytes.size()) - used; }
    } room;
    const auto take = [](void* user, const unsigned char* data, unsigned int length, DICT_UID, int) {
        auto& own = *static_cast<Room*>(user);
        EXPECT_TRUE(length == 0 || own.left() == 0 || data == own.bytes.data() + own.used);
        if (own.left() != 0) own.used += length;
        return 0;
    };
    upper.registerDataSetCB(&room, take, [](void* user, unsigned int* size) {
        auto& own = *static_cast<Room*>(user);
        *size = own.left();
        return *size > 0 ? own.bytes.data() + own.used : nullptr;
    });
    ASSERT_EQ(upper.receive(inFragments(image.whole, every(7, image.whole.size())), kJpeg), 0);
    EXPECT_EQ(room.used, 100u);
    EXPECT_TRUE(std::equal(room.bytes.begin(), room.bytes.end(), image.whole.begin()));
}

}  // namespace
