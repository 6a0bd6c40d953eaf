// `orvkit serve` as a process, with peers that behave, peers that do not, and deaths in the middle of a
// store.
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>

#include <chrono>
#include <memory>
#include <set>

#include "tests/tools/command.h"
#include "tests/tools/raw_peer.h"

namespace tools_test {
namespace {

namespace platform = orvkit::platform;

// A good client who is held up waits for the time-out of others, 30 s: a second on a machine that has
// something else to do is far from that.
constexpr auto kSoon = 5s;

// The command of a C-STORE request.
Stream storeCommand(const std::string& instance) {
    return request(1, "1.2.840.10008.5.1.4.1.1.2").ui(0x00001000, instance);
}
Bytes storeRequest(const std::string& instance) {
    return command(storeCommand(instance));
}
// With `records`, what a DICOMDIR asks for is in it.
Bytes ctDataset(const std::string& instance, std::size_t pixels, bool records = false) {
    Stream s(UID_LITTLE_ENDIAN_IMPLICIT);
    s.ui(0x00080016, "1.2.840.10008.5.1.4.1.1.2").ui(0x00080018, instance);
    if (records) {
        s.elem(0x00080020, "", "20200101").elem(0x00080030, "", "120000").elem(0x00080050, "", "A1");
        s.elem(0x00080060, "", "CT").elem(0x00081030, "", "D1").elem(0x00100010, "", "N1");
    }
    s.elem(0x00100020, "", "P1").ui(0x0020000D, "1.2.3.4").ui(0x0020000E, "1.2.3.4.5");
    if (records) s.elem(0x00200010, "", "S1").elem(0x00200011, "", "1 ").elem(0x00200013, "", "1 ");
    return s.elem(0x7FE00010, "", std::string(pixels, '\7')).bytes();
}
// So many peers need more than the usual number of files.
void openMany() {
    rlimit files{};
    ::getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = std::min<rlim_t>(files.rlim_max, 4096);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &files), 0);
}

class ServeTest : public ServedTest {
  protected:
    // The time that an echo takes, from the start of the command to its end.
    Clock::duration echo() const {
        const auto begun = Clock::now();
        must("orvkit echo " + peer() + " --timeout 20");
        return Clock::now() - begun;
    }
    std::size_t openFiles() const {
        const fs::path all = "/proc/" + std::to_string(server) + "/fd";
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(all), {}));
    }
    std::size_t unfinished() const {
        std::size_t count = 0;
        for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(server) + "/fd")) {
            std::error_code gone;
            const std::string file = fs::read_symlink(entry.path(), gone).string();
            if (file.starts_with((dir / "in/").string()) && !file.ends_with(".dcm")) ++count;
        }
        return count;
    }
    // Stores an object with what a DICOMDIR asks for; the status.
    unsigned int store(RawPeer& sender, const std::string& instance) const {
        EXPECT_TRUE(sender.say(joined(
            {storeRequest(instance), pdu(PDU_TYPE_DATA_TF, pdv(1, 2, ctDataset(instance, 10, true)))})));
        return statusIn(sender.hear());
    }
    std::string dataset(const fs::path& path) const {
        DcDirMetaInfo meta;
        unsigned int end = 0;
        EXPECT_EQ(dirReadFileMetaInfo(path.c_str(), meta, end), 0) << path;
        return contentOf(path).substr(end);
    }
};

TEST_F(ServeTest, WhatIsNoStorableObjectIsAnsweredAndLeavesNoFile) {
    begin();
    RawPeer sender(port);
    ASSERT_TRUE(sender.associate());
    const auto store = [&](const std::string& instance, const Bytes& object, std::size_t piece = 16000) {
        Bytes all, pdvs = commandValue(storeCommand(instance));  // and the first piece in the same PDU
        std::size_t at = 0;
        do {
            const std::size_t end = std::min(at + piece, object.size());
            const Bytes part(object.data() + at, object.data() + end);
            append(pdvs, pdv(1, end == object.size() ? 2 : 0, part));
            append(all, pdu(PDU_TYPE_DATA_TF, std::exchange(pdvs, {})));
            at = end;
        } while (at < object.size());
        EXPECT_TRUE(sender.say(all));
        return statusIn(sender.hear());
    };
    for (const char* instance : {"../../evil", "1..2", "", "1.2\n3"})
        EXPECT_EQ(store(instance, ctDataset("1", 100)), 0xC000u) << instance;
    EXPECT_EQ(store("1.2.3", ctDataset("1.2.30", 100)), 0xC000u);
    EXPECT_EQ(store("1.2.3", element(0x00080016, uidValue("1.2.840.10008.5.1.4.1.1.4"))), 0xA900u);
    EXPECT_EQ(store("1.2.3", {}), 0xC000u);
    EXPECT_TRUE(logs("refused 1.2\\n3: ")) << "a peer writes no lines of its own";
    EXPECT_TRUE(names("in").empty());

    // Cut anywhere but between two elements, also in a sequence of undefined length.
    const Bytes undefined{0xFF, 0xFF, 0xFF, 0xFF};
    const auto header = [](unsigned int tag, const Bytes& length) {
        Bytes bytes = element(tag, {});
        std::copy(length.begin(), length.end(), bytes.end() - 4);
        return bytes;
    };
    const Bytes parts[] = {
        element(0x00080018, uidValue("1.2.3")), header(0x00081140, undefined), header(0xFFFEE000, undefined),
        element(0x00081155, uidValue("1.2.4")), element(0xFFFEE00D, {}),       element(0xFFFEE0DD, {}),
        element(0x7FE00010, Bytes(9, 7))};
    Bytes whole;
    std::set<std::size_t> ends;
    for (const Bytes& part : parts) {
        append(whole, part);
        ends.insert(whole.size());
    }
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        const Bytes object(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(store("1.2.3", object, 1 + length % 7), ends.contains(length) ? 0u : 0xC000u) << length;
    }
    // What this program could not read again: no header at all, a header that belongs to the file, an item
    // that belongs to nothing, pixels that are no fragments.
    for (const Bytes& object :
         {Bytes(4096, 0xFF), joined({element(0x00020010, uidValue(kExplicitUid)), whole}), Bytes(16, 0),
          joined({element(0xFFFEE000, {}), header(0x00081140, {0xFF, 0xFF, 0xFF, 0x7F})}),
          joined({whole, element(0x7FE10010, {}), header(0x7FE00010, undefined), element(0x00100010, {})})}) {
        EXPECT_EQ(store("1.2.3", object), 0xC000u) << object.size();
    }
    append(whole, Bytes(13, 0));
    EXPECT_EQ(store("1.2.3", whole), 0u) << "padding";
    EXPECT_EQ(names("in"), std::vector<std::string>{"1.2.3.dcm"});
    EXPECT_EQ(stop(), 0);
}

TEST_F(ServeTest, AStopLetsTheStoreThatIsUnderWayEnd) {
    begin();
    RawPeer sender(port);
    RawPeer idle(port);
    ASSERT_TRUE(sender.associate() && idle.associate());
    const Bytes object = ctDataset("1.2.3", 40000);
    const Bytes front(object.begin(), object.begin() + 20000);
    const Bytes back(object.begin() + 20000, object.end());
    ASSERT_TRUE(sender.say(joined({storeRequest("1.2.3"), pdu(PDU_TYPE_DATA_TF, pdv(1, 0, front))})));
    ASSERT_TRUE(untilTrue(20s, [&] { return unfinished() == 1; }));
    ::kill(server, SIGTERM);
    EXPECT_EQ(idle.hear().at(0), PDU_TYPE_ABORT);  // it stops, and has not cut the other yet
    ASSERT_TRUE(sender.say(pdu(PDU_TYPE_DATA_TF, pdv(1, 2, back))));
    EXPECT_EQ(statusIn(sender.hear()), 0u);
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(names("in"), std::vector<std::string>{"1.2.3.dcm"});
}

TEST_F(ServeTest, HostilePeersHoldNobodyUp) {
    openMany();
    begin();
    const auto soonest = [this] { return std::min({echo(), echo(), echo()}); };
    EXPECT_LT(soonest(), kSoon);
    const std::size_t before = openFiles();
    std::vector<std::unique_ptr<RawPeer>> silent, slow, inside;
    for (int i = 0; i < 100; ++i) inside.push_back(std::make_unique<RawPeer>(port));
    for (const auto& p : inside) ASSERT_TRUE(p->associate());
    for (int i = 0; i < 100; ++i) slow.push_back(std::make_unique<RawPeer>(port));
    for (int i = 0; i < 1000; ++i) silent.push_back(std::make_unique<RawPeer>(port));
    const Bytes request = pdu(PDU_TYPE_ASSO_RQ, ::Association().body());
    const Bytes message = storeRequest("1.2.3");
    for (std::size_t second = 0; second < 2; ++second) {
        for (const auto& p : slow) (void)p->say(Bytes{request[second]});
        for (const auto& p : inside) EXPECT_TRUE(p->say(Bytes{message[second]}));
        EXPECT_LT(soonest(), kSoon) << "second " << second;
        std::this_thread::sleep_for(1s);
    }
    RawPeer http(port), tls(port), half(port), broken(port);
    EXPECT_TRUE(http.say(bytesOf("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n")));
    EXPECT_EQ(http.hear().at(0), PDU_TYPE_ABORT);
    EXPECT_TRUE(tls.say({0x16, 3, 1, 2, 0, 1, 0, 1, 0xFC, 3, 3}));
    EXPECT_EQ(tls.hear().at(0), PDU_TYPE_ABORT);
    EXPECT_TRUE(half.say(Bytes(request.begin(), request.begin() + 20)));
    half.halfClose();
    ASSERT_TRUE(broken.associate());
    EXPECT_TRUE(broken.say(joined({storeRequest("1.2.3"), {4, 0, 0, 1}})));
    broken.reset();
    EXPECT_LT(soonest(), kSoon);
    EXPECT_TRUE(logs("1.2.3 was not received to its end"));
    silent.clear();
    slow.clear();
    inside.clear();
    half.reset();
    EXPECT_TRUE(untilTrue(10s, [&] { return openFiles() <= before; })) << openFiles() << " of " << before;
    EXPECT_EQ(stop(), 0);
    EXPECT_TRUE(names("in").empty());
}

// Fewer threads and fewer files than associations.
TEST_F(ServeTest, IdleAssociationsKeepNobodyOut) {
    mostFiles = 240;
    begin("--workers 16");
    std::vector<std::unique_ptr<RawPeer>> idle;
    for (int i = 0; i < 200; ++i) {
        idle.push_back(std::make_unique<RawPeer>(port));
        ASSERT_TRUE(idle.back()->associate()) << i;
    }
    EXPECT_LT(std::min({echo(), echo(), echo()}), kSoon);
    // Those who came last still have their associations.
    for (std::size_t i = 150; i < idle.size(); ++i) {
        const std::string instance = "1.2." + std::to_string(i);
        ASSERT_TRUE(idle[i]->say(
            joined({storeRequest(instance), pdu(PDU_TYPE_DATA_TF, pdv(1, 2, ctDataset(instance, 100)))})));
    }
    for (std::size_t i = 150; i < idle.size(); ++i) EXPECT_EQ(statusIn(idle[i]->hear()), 0u);
    EXPECT_TRUE(logs("association aborted: it was idle, and others are waiting"));
    // Of those who have been idle longest, but for the 16 who may still have a thread, the first one made
    // room.
    EXPECT_TRUE(std::any_of(idle.begin(), idle.begin() + 17, [](const auto& peer) {
        return peer->hear(200) == Bytes{PDU_TYPE_ABORT, 0, 0, 0, 0, 4, 0, 0, 0, 0};
    }));
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(names("in").size(), 50u);
}

TEST_F(ServeTest, EachBrokenAssociationIsToldWithItsReason) {
    const Bytes command = storeRequest("1.2.3");
    const Bytes amid = joined({command, pdu(PDU_TYPE_DATA_TF, pdv(1, 0, Bytes(20, 0)))});
    const struct {
        Bytes said;
        bool closes;
        const char* told;
        bool late = false;  // told when the time-out has passed, and not before
    } rows[] = {
        {{}, true, "ended: the peer closed the connection, or it broke\n"},
        {{}, false, "aborted: nothing came in time\n", true},
        {amid, true, "ended: the connection broke in the middle of a message; 1.2.3 was not received"},
        {amid, false, "ended: the peer stopped in the middle of a message; 1.2.3 was not received", true},
        {joined({amid, {4, 0, 0, 0, 9}}), true,
         "ended: the peer broke off in the middle of a PDU, or was too slow; 1"},
        {joined({amid, pdu(PDU_TYPE_ABORT, Bytes(4))}), false,
         "ended: the peer aborted the association in the mid"},
        {pdu(PDU_TYPE_ASSO_AC, ::Association().body()), false,
         "ended: the peer sent a PDU that has no place here"},
        {pdu(9, {}), false, "ended: the peer sent something that is no DICOM message"},
        {pdu(PDU_TYPE_DATA_TF, pdv(1, 0, Bytes(20, 0))), false,
         "ended: the peer sent a data set that was not asked for"},
        {pdu(PDU_TYPE_DATA_TF, pdv(3, 3, {1})), false,
         "ended: the peer broke the protocol, and the association was closed: Invalid Presentation Context "
         "ID - 3"}};
    for (const bool late : {true, false}) {
        begin(late ? "--timeout 1" : "--timeout 60");
        for (const auto& row : rows) {
            if (row.late != late) continue;
            RawPeer sender(port);
            ASSERT_TRUE(sender.associate() && (row.said.empty() || sender.say(row.said)));
            if (row.closes) sender.halfClose();
            EXPECT_TRUE(logs(std::string("association ") + row.told)) << row.told;
        }
        EXPECT_EQ(stop(), 0);
    }
}

// Whole fragments, or the bytes of one, come now and then: no single wait is too long.
TEST_F(ServeTest, AMessageThatNeverEndsLosesItsWorker) {
    begin("--timeout 1");
    const struct {
        Bytes first, drop;
    } rows[] = {{{}, pdu(PDU_TYPE_DATA_TF, pdv(1, 0, Bytes(10, 0)))},
                {{PDU_TYPE_DATA_TF, 0, 0, 1, 0, 0, 0, 0, 0xFF, 0, 1, 0}, {0}}};
    for (const auto& row : rows) {
        RawPeer sender(port);
        ASSERT_TRUE(sender.associate());
        ASSERT_TRUE(sender.say(storeRequest("1.2.3")));
        EXPECT_TRUE(row.first.empty() || sender.say(row.first));
        const auto begun = Clock::now();
        while (sender.say(row.drop) && Clock::now() - begun < 30s) std::this_thread::sleep_for(200ms);
        EXPECT_LT(Clock::now() - begun, 20s);
    }
}

TEST_F(ServeTest, AServerThatIsKilledLeavesNoNameWithoutAWholeObject) {
    must("orvkit phantom s --size 512 --series 1 --images 20 >/dev/null");
    begin();
    RawPeer other(port);
    ASSERT_TRUE(other.associate());
    ASSERT_TRUE(other.say(
        joined({storeRequest("1.2.3"), pdu(PDU_TYPE_DATA_TF, pdv(1, 0, ctDataset("1.2.3", 10000)))})));
    ASSERT_TRUE(untilTrue(20s, [&] { return unfinished() == 1; }));
    std::thread killer([&] {
        EXPECT_TRUE(untilTrue(20s, [&] { return names("in").size() >= 4; }));
        ::kill(server, SIGKILL);
    });
    const Outcome sent = sh("orvkit send " + peer() + " s s s s s s s s s s");
    killer.join();
    ::waitpid(server, nullptr, 0);
    EXPECT_EQ(sent.status, 1);
    EXPECT_TRUE(holds(sent.err, "s/SE000001/IM"));
    EXPECT_TRUE(holds(sent.err, "not sent: an association was lost"));
    std::set<std::string> whole;
    for (const auto& entry : fs::directory_iterator(dir / "s/SE000001")) whole.insert(dataset(entry.path()));
    for (const std::string& name : names("in"))
        EXPECT_TRUE(!name.ends_with(".dcm") || whole.contains(dataset(dir / "in" / name))) << name;
    begin();
    must("orvkit send " + peer() + " s");
    EXPECT_EQ(names("in").size(), 20u);
}

// The larger disk is full when the object is being written by a thread of its own.
TEST_F(ServeTest, AFullDiskIsToldToTheSenderAndTheNextStoreWorks) {
    must(
        "orvkit phantom big --size 2048 --series 1 --images 1 >/dev/null\n"
        "orvkit phantom small --size 64 --series 1 --images 1 --seed 2 >/dev/null\nmkdir in");
    for (const char* const size : {"size=2m", "size=6m"}) {
        if (::mount("tmpfs", (dir / "in").c_str(), "tmpfs", 0, size) != 0) {
            GTEST_SKIP() << "no small file system can be mounted";
        }
        begin();
        const Outcome sent = sh("orvkit send " + peer() + " big; orvkit send " + peer() + " small");
        const auto left = names("in");
        const std::string said = log();
        (void)stop();
        ASSERT_EQ(::umount((dir / "in").c_str()), 0);
        EXPECT_EQ(sent.status, 0);
        EXPECT_TRUE(holds(sent.err, "the peer answered 0xA700 (refused: out of resources)"));
        EXPECT_TRUE(holds(said, "No space left on device"));
        EXPECT_EQ(left.size(), 1u);
    }
}

TEST_F(ServeTest, ALargeImageGoesFromDiskToDiskInLittleMemory) {
    must("orvkit phantom big --size 4096 --series 1 --images 1 >/dev/null");
    begin();
    const Outcome sent = must("orvkit send " + peer() + " big");
    const auto stored = names("in");
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_TRUE(dataset(dir / "in" / stored[0]) == dataset(dir / "big/SE000001/IM000001"));
#ifndef ORVKIT_SANITIZED
    const std::string status = contentOf("/proc/" + std::to_string(server) + "/status");
    EXPECT_LT(sent.residentKb, 20 << 10);
    EXPECT_LT(std::atol(status.c_str() + status.find("VmHWM:") + 6), 20 << 10) << status;
#endif
}

TEST_F(ServeTest, ObjectsBecomePartOfAFileSet) {
    must(
        "orvkit phantom s --size 16 --images 2 >/dev/null; cp -r s t\n"
        "for f in t/*/*; do printf X | dd of=$f bs=1 seek=$(($(stat -c %s $f) - 1)) conv=notrunc; done");
    begin("--file-set");
    EXPECT_TRUE(holds(sh("orvkit send " + peer() + " s -j 3").out, "4 sent"));
    EXPECT_TRUE(holds(sh("orvkit serve --port 0 --file-set in").err, "another program is at work"));
    const Outcome again = sh("orvkit send " + peer() + " s -j 3; orvkit send " + peer() + " t 2>other");
    EXPECT_TRUE(holds(again.out, "4 sent"));
    EXPECT_TRUE(holds(log(), "the same object was there before"));
    EXPECT_TRUE(holds(contentOf(dir / "other"), "the peer answered 0x0110 (processing failure)"));
    EXPECT_TRUE(holds(log(), "stored PT000001\\ST000001\\SE000001\\IM000001 ("));
    EXPECT_TRUE(holds(log(), "another object of this SOP instance is in the file set, as PT000001\\"));
    EXPECT_EQ(stop(), 0);
    EXPECT_TRUE(holds(sh("orvkit dicomdir check in").out, "files 4, no findings"));
    EXPECT_EQ(sh("find in -type f | wc -l").out, "5\n");
}

// The association is still open, so that no DICOMDIR has been written.
TEST_F(ServeTest, WhatAFileSetHasConfirmedIsFoundAfterAKill) {
    begin("--file-set");
    RawPeer sender(port);
    ASSERT_TRUE(sender.associate());
    for (const char* instance : {"1.2.1", "1.2.2", "1.2.4"}) EXPECT_EQ(store(sender, instance), 0u) << log();
    EXPECT_NE(stop(SIGKILL), 0);
    EXPECT_FALSE(fs::exists(dir / "in/DICOMDIR"));
    // What was confirmed is not taken for nothing when it cannot be read, and waits until it can.
    must("cd in; mv .orvkit-received ../noted && mkdir .orvkit-received");
    EXPECT_TRUE(holds(sh("timeout 20 " ORVKIT_COMMAND " serve --port 0 --file-set in").err,
                      "what was received last cannot be read"));
    must(
        "cd in; rmdir .orvkit-received && mv ../noted .orvkit-received\n"
        "f=PT000001/ST000001/SE000001/IM000003; mv $f ../kept && echo unreadable >$f");
    begin("--file-set");
    EXPECT_TRUE(logs("2 objects that a server stored before it was killed are in the file set now"));
    EXPECT_EQ(stop(), 0);
    must("mv kept in/PT000001/ST000001/SE000001/IM000003");
    begin("--file-set");
    EXPECT_TRUE(logs("1 objects that a server stored before it was killed are in the file set now"));
    EXPECT_TRUE(holds(sh("orvkit dicomdir check in").out, "files 3, no findings"));
    RawPeer next(port);
    ASSERT_TRUE(next.associate());
    EXPECT_EQ(store(next, "1.2.1"), 0u);
    // A DICOMDIR that cannot be written is told, and what it lacks is kept for another day.
    EXPECT_EQ(store(next, "1.2.3"), 0u);
    must("mv in/DICOMDIR old && mkdir -p in/DICOMDIR/x");
    EXPECT_EQ(stop(), 1);
    EXPECT_TRUE(holds(log(), "the DICOMDIR is not written"));
    must("rm -r in/DICOMDIR && mv old in/DICOMDIR");
    begin("--file-set");
    EXPECT_EQ(stop(), 0);
    EXPECT_TRUE(holds(sh("orvkit dicomdir check in").out, "files 4, no findings"));
    EXPECT_EQ(sh("find in -type f | wc -l").out, "5\n");
}

// Each call once, for an object that is new.
TEST_F(ServeTest, WhatAFileSetRefusesForWantOfFilesOrForABrokenDiskIsNotKept) {
    if (std::string(ORVKIT_FAIL_ALLOCATION).empty()) GTEST_SKIP() << "nothing to preload here";
    ::setenv("LD_PRELOAD", ORVKIT_FAIL_ALLOCATION, 1);
    ::setenv("FAIL_CALL", (dir / "call").c_str(), 1);
    begin("--file-set");
    ::unsetenv("LD_PRELOAD");
    RawPeer sender(port);
    ASSERT_TRUE(sender.associate());
    EXPECT_EQ(store(sender, "1.2.1"), 0u);
    const auto files = [this] { return sh("find in -type f | sort").out; };
    int stored = 1;
    for (const auto& [call, reason] : {std::pair{"open", EMFILE}, {"read", EIO}}) {
        int refused = 0;
        for (int n = 1;; ++n) {
            std::ofstream(dir / "call") << call << ' ' << n << ' ' << reason;
            const std::string before = files();
            const unsigned int status = store(sender, "1.3." + std::to_string(stored));
            EXPECT_EQ(files() == before, status != 0) << call << n << log();
            ++(status == 0 ? stored : refused);
            if (fs::remove(dir / "call")) break;
        }
        EXPECT_GT(refused, 0) << call;
    }
    EXPECT_EQ(store(sender, "1.2.1"), 0u);
    EXPECT_EQ(stop(), 0);
    EXPECT_TRUE(
        holds(sh("orvkit dicomdir check in").out, "files " + std::to_string(stored) + ", no findings"));
}

}  // namespace
}  // namespace tools_test
