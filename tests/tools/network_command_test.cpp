// The command as a user of network services, against independent programs and against peers of our own.
#include <csignal>
#include <map>

#include "tests/media/sample_files.h"
#include "tests/network/pair.h"
#include "tests/network/pdus.h"
#include "tests/support/elem_values.h"
#include "tests/support/stream.h"
#include "tests/tools/command.h"

namespace tools_test {
namespace {

bool installed(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

class NetworkCommandTest : public CommandTest {
  protected:
    // In a script: `start PORT PROGRAM...` runs a peer until the script ends, and waits until it listens.
    Outcome net(const std::string& script) const {
        return sh(
            "export TCP_NODELAY=1; peers=; trap 'kill $peers; wait' EXIT\n"
            "start() { local port=$1; shift; \"$@\" >>peer.log 2>&1 & peers=\"$peers $!\"\n"
            "  for i in $(seq 200); do (exec 3<>/dev/tcp/127.0.0.1/$port) 2>/dev/null && return\n"
            "  sleep 0.05; done; echo \"$1 does not listen\" >&2; exit 99; }\n"
            "P=" +
            std::to_string(freePort()) + " Q=" + std::to_string(freePort()) + "\n" + script);
    }
    // A script that runs a command and sends it a signal when a peer has called `now`: not after a second, in
    // which a busy machine has not even started it.
    static std::string signalled(const std::string& signal, const std::string& command) {
        return "set -m; rm -f now; " ORVKIT_COMMAND " " + command +
               " & child=$!\n"
               "until [ -e now ] || ! kill -0 $child; do sleep 0.02; done; kill -" +
               signal + " $child; wait $child";
    }
    void now() const { std::ofstream(dir / "now").put('\n'); }
};

TEST_F(NetworkCommandTest, WrongUseIsToldFromFailure) {
    expectSaid(
        {{"orvkit echo localhost", 2, "", "'localhost:' is not a peer: AET@host:port or host port"},
         {"orvkit echo TOO-LONG-A-TITLE-@h:1", 2, "", "is not an AE title"},
         {"orvkit echo $'A\\e[m\\n@h:1'", 2, "", "'A\\x1b[m\\n' is not an AE title"},
         {"orvkit send A@h:104", 2, "", "something must follow the peer"},
         {"orvkit find A@h:104 -k Nonsense=1", 2, "", "neither a tag nor a name"},
         {"orvkit find A@h:104 -k PixelData", 2, "", "PixelData: not an element that can be asked for\n"},
         {"orvkit find A@h:104 -k 0008,1140", 2, "", "0008,1140: sequences cannot be asked for\n"},
         {"orvkit find A@h:104 -k PatientID -k 0010,0020=1", 2, "", "key 0010,0020=1: given twice\n"},
         {"orvkit find A@h:104 -k QueryRetrieveLevel=PAT", 2, "",
          "PAT: not a level: PATIENT, STUDY, SERIES or"},
         {"orvkit echo A@h:104 --confirm-user", 2, "", "--confirm-user needs --user"},
         {"touch p; orvkit echo A@h:104 --user joe --password-file p", 1, "", "p: no password can be read"},
         {"orvkit echo A@127.0.0.1:1", 1, "", "cannot connect: connection refused"}});
}

TEST_F(NetworkCommandTest, SendTellsWhyEachFileFailed) {
    for (const char* peer : {"storescp", "dcmcrle"}) {
        if (!installed(peer)) GTEST_SKIP() << peer << " is not installed";
    }
    const Outcome outcome =
        net("orvkit phantom s --size 16 --series 1 --images 2 >/dev/null; echo no image >s/text\n"
            "dcmcrle s/SE000001/IM000001 s/rle; cp s/SE000001/IM000001 's/blank '; mkdir in; start $P "
            "storescp -od in $P\n"
            "orvkit send localhost $P s missing");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.out, "2 sent"));
    EXPECT_TRUE(holds(outcome.out, "4 failed"));
    EXPECT_TRUE(holds(outcome.err, "orvkit: s/blank : its path has more than 1024 characters, or begins or"));
    EXPECT_TRUE(holds(outcome.err, "orvkit: s/text: not a DICOM Part 10 file\n"));
    EXPECT_TRUE(holds(outcome.err, "orvkit: missing: cannot be examined\n"));
    EXPECT_TRUE(holds(outcome.err, "orvkit: s/rle: the peer does not support the transfer syntax: "));
    EXPECT_EQ(names("in").size(), 2u);
}

// Many real files carry the header of the object that they were made from, or half of one.
TEST_F(NetworkCommandTest, EverySoundSampleWithAHeaderReachesServe) {
    if (samplesDirectory() == nullptr) GTEST_SKIP() << "no samples";
    const std::map<std::string, std::string> others = {
        {"charset/empty_charset.dcm",
         "neither its data set nor its header names a usable SOP class and instance"},
        {"sequences/nested_private_sq_implicit.dcm",
         "neither its data set nor its header names a usable SOP"}};
    std::ofstream list(dir / "list");
    std::size_t sound = 0;
    for (const Sample& sample : allSamples()) {
        const std::string head = contentOf(samplePath(sample.path)).substr(0, 132);
        const bool isDirectory =
            sample.path.find("DICOMDIR") != std::string::npos || sample.path.starts_with("dicomdir/variants");
        if (sample.isMalformed() || isDirectory || !head.ends_with("DICM")) continue;
        list << samplePath(sample.path) << '\n';
        ++sound;
    }
    list.close();
    const Outcome outcome = net("mkdir in; start $P " ORVKIT_COMMAND
                                " serve --no-sync --any-class --port $P in\n"
                                "xargs -a list -d '\\n' " ORVKIT_COMMAND " send 127.0.0.1 $P");
    EXPECT_TRUE(holds(outcome.out, std::to_string(sound - others.size()) + " sent")) << outcome.err;
    for (const auto& [path, why] : others) EXPECT_TRUE(holds(outcome.err, path + ": " + why));
    EXPECT_TRUE(
        holds(outcome.err, "rt/rtplan.dcm: the SOP instance is 1.2.999.999.99.9.9999.9999.20030903150023"));
    EXPECT_TRUE(fs::exists(dir / "in/1.2.777.777.77.7.7777.7777.20030903150023.dcm"));
}

// With --any-class it is among the samples that reach serve.
TEST_F(NetworkCommandTest, AClassThatNobodyKnowsIsNotTakenUnasked) {
    if (samplesDirectory() == nullptr) GTEST_SKIP() << "no samples";
    const Outcome outcome =
        net("mkdir in; start $P " ORVKIT_COMMAND " serve --port $P in\norvkit send 127.0.0.1 $P " +
            samplePath("deflated/sq_dfl.dcm"));
    EXPECT_TRUE(
        holds(outcome.err, "the peer does not support the SOP class: 2.25.1527525198346632638263014"));
    EXPECT_TRUE(names("in").empty());
}

TEST_F(NetworkCommandTest, DataSetsWithoutAHeaderAreSentWithOne) {
    if (samplesDirectory() == nullptr) GTEST_SKIP() << "no samples";
    const Outcome outcome = net("mkdir in; start $P " ORVKIT_COMMAND
                                " serve --no-sync --port $P in\n" ORVKIT_COMMAND " send 127.0.0.1 $P " +
                                samplePath("malformed/meta_out_of_order.dcm") + " " + samplePath("nometa") +
                                "/*.dcm; ls in | wc -l\n"
                                "orvkit dump --json in/*; printf text >text; orvkit send 127.0.0.1 $P text");
    // An element that one of them has twice is no fault of those behind it.
    EXPECT_TRUE(holds(outcome.out, "7 sent")) << outcome.out << outcome.err;
    EXPECT_TRUE(holds(outcome.out, "\n6\n"));
    EXPECT_TRUE(holds(outcome.err, ": read as implicit VR little endian without a header\n"));
    EXPECT_TRUE(holds(outcome.err, "text: "));
}

TEST_F(NetworkCommandTest, SendGoesOnAfterALostAssociationWhenAskedTo) {
    if (!installed("storescp")) GTEST_SKIP() << "storescp is not installed";
    const Outcome outcome = net(
        "orvkit phantom s --size 16 --series 1 --images 3 >/dev/null; start $P storescp --abort-after $P\n"
        "orvkit send localhost $P s; orvkit send localhost $P s --retry 1 2>again; wc -l <again");
    EXPECT_TRUE(holds(outcome.err, "IM000001: the peer aborted the association"));
    EXPECT_TRUE(holds(outcome.err, "2 files not sent: an association was lost"));
    EXPECT_TRUE(holds(outcome.out, "\n3\n"));  // each file with its own reason
}

// An archive that answers without end, every second time without an identifier, until it is told to stop.
// Calls `now` when it has answered for the first time.
template <typename Request, typename Response>
void answerUntilCancelled(DcMsm& msm, const std::function<void()>& now) {
    Message request;
    ASSERT_EQ(receive(msm, request), MSM_MESSAGE);
    const auto reply = [&](unsigned short status, bool identifier) {
        Response response(static_cast<Request*>(request.get()));
        response.add(new DcElem(T_0000_0900_status, status));
        if (identifier) response.add(new DcElem(T_0010_0020_patientId, "P1"));
        return msm.write(contextOf(*request), &response);
    };
    DcMsg* next = nullptr;
    int result = MSM_READ_TIMEOUT;
    for (int i = 0; result == MSM_READ_TIMEOUT; ++i) {
        ASSERT_EQ(reply(0xFF00, i % 2 == 0), 0);
        if (i == 0) now();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        result = msm.receiveMessage(nullptr, &next, MSM_BLOCK_READ_POLL, MSM_BLOCK_CONNECT_POLL);
    }
    Message cancel(next);
    ASSERT_EQ(result, MSM_MESSAGE);
    EXPECT_EQ(cancel->getType(), DICT_MSG_C_CANCEL_RQ);
    unsigned short id = 0, cancelled = 0;
    (void)request->getValue(T_0000_0110_messageId, id);
    EXPECT_EQ(cancel->getValue(T_0000_0120_messageIdBeingRespondedTo, cancelled), 0);
    EXPECT_EQ(cancelled, id);
    EXPECT_EQ(reply(0xFE00, false), 0);
    EXPECT_EQ(receive(msm, cancel), MSM_RELEASE_REQUESTED);
}

TEST_F(NetworkCommandTest, WhatNeverEndsIsCancelled) {
    const auto find = &answerUntilCancelled<DcCmdCFindRq, DcCmdCFindRsp>;
    const auto move = &answerUntilCancelled<DcCmdCMoveRq, DcCmdCMoveRsp>;
    const auto get = &answerUntilCancelled<DcCmdCGetRq, DcCmdCGetRsp>;
    const struct {
        std::string command, options;
        void (*archive)(DcMsm&, const std::function<void()>&);
        DICT_UID model;
        const char* said;
    } rows[] = {{"find", "--max-results 5", find, UID_STUDY_ROOT_Q_R_FIND,
                 "cancelled: more than 5 results (--max-results)"},
                {"find", "--max-results 5 --json", find, UID_STUDY_ROOT_Q_R_FIND,
                 " results came without an identifier"},
                {"move --dest X", "--max-time 1", move, UID_STUDY_ROOT_Q_R_MOVE,
                 "cancelled: it took longer than --max-time"},
                {"get", "got", get, UID_STUDY_ROOT_Q_R_GET, "cancelled: interrupted"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command + " " + row.options);
        const bool byHand = row.command == "get";
        const auto work = [&](DcMsm& msm) { row.archive(msm, [this] { now(); }); };
        Provider archive(sopList({row.model}), work, "ARCHIVE", 0);
        const std::string command = row.command + " ARCHIVE@127.0.0.1:" + std::to_string(archive.port()) +
                                    " " + row.options + " -k PatientID";
        const Outcome outcome = sh(byHand ? signalled("INT", command) : "orvkit " + command);
        EXPECT_NE(outcome.status, 0);
        EXPECT_TRUE(holds(outcome.err, row.said));
        EXPECT_TRUE(holds(outcome.err, "0xFE00 (cancelled)"));
    }
}

// The archive grants the bytes of the first 56H that its own have, as PS3.4 C.5.1.1 has it.
int grant(void* bytes, DcPduAssoRq& request, DcPduNegotiation& answer, DcPduInfoRj&) {
    auto& [granted, asked] = *static_cast<std::pair<Bytes, Bytes>*>(bytes);
    DcPduExtNeg item;
    if (request.negotiation().getExtNeg(0, &item) != RESULT_OK) return RESULT_OK;
    EXPECT_STREQ(item.sopClassUid, "1.2.840.10008.5.1.4.1.2.2.1");
    asked.assign(item.info.data, item.info.data + item.info.length);
    item.info = {granted.data(), static_cast<unsigned int>(granted.size())};
    if (!granted.empty()) (void)answer.extNegAdd(&item);
    return RESULT_OK;
}

TEST_F(NetworkCommandTest, FindProposesWhatItsOptionsAskForAndTellsWhatWasNotAgreedTo) {
    const struct {
        const char* options;
        Bytes granted, asked;
        std::vector<std::string> told;
    } rows[] = {
        {"", {1, 1, 1, 1}, {}, {}},
        {"--relational", {1}, {1}, {}},
        {"--fuzzy-names --date-time", {0, 1, 1, 0, 0}, {0, 1, 1}, {}},
        {"--timezone --relational", {0}, {1, 0, 0, 1}, {"relational queries", "adjusting time zones"}},
        {"--fuzzy-names", {}, {0, 0, 1}, {"fuzzy matching of names"}}};
    for (const auto& row : rows) {
        std::pair<Bytes, Bytes> bytes(row.granted, {});
        const auto answer = [](DcMsm& msm) {
            Message request;
            ASSERT_EQ(receive(msm, request), MSM_MESSAGE);
            DcCmdCFindRsp response(static_cast<DcCmdCFindRq*>(request.get()));
            response.add(new DcElem(T_0000_0900_status, static_cast<unsigned short>(0)));
            EXPECT_EQ(msm.write(contextOf(*request), &response), RESULT_OK);
            EXPECT_EQ(receive(msm, request), MSM_RELEASE_REQUESTED);
        };
        Provider archive(sopList({UID_STUDY_ROOT_Q_R_FIND}), answer, "ARCHIVE", 0, [&bytes](DcMsm& msm) {
            (void)msm.setTolerant(1);
            (void)msm.registerRequestCB(&bytes, &grant);
        });
        const Outcome outcome = sh("orvkit find ARCHIVE@127.0.0.1:" + std::to_string(archive.port()) +
                                   " -k PatientName=MEIER " + row.options);
        archive.join();
        EXPECT_EQ(outcome.status, 0) << row.options << outcome.err;
        EXPECT_EQ(bytes.second, row.asked) << row.options;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), row.told.size()) << outcome.err;
        for (const std::string& what : row.told)
            EXPECT_TRUE(holds(outcome.err, "did not agree to " + what + ", and answers without\n"));
    }
}

// A peer that answers the first request with what never ends, and hears nothing any more. It calls
// `now` after each piece.
class Endless {
  public:
    enum class What { dataSet, trickle, object, pending, pendingWithData };

    Endless(DICT_UID model, MSG_TYPE type, What what, std::function<void()> now = {})
        : answer_(type), what_(what), now_(std::move(now)) {
        auto support = sopList({UID_CT_IMAGE_STORAGE}, {UID_LITTLE_ENDIAN_EXPLICIT}, TSM_ROLE_SCP);
        const auto both = sopList({model}, {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT});
        support.insert(support.begin(), both.front());
        provider_ = std::make_unique<Provider>(
            support, [this](DcMsm& msm) { answer(msm); }, "ARCHIVE", 0);
    }
    std::string peer() const { return " ARCHIVE@127.0.0.1:" + std::to_string(provider_->port()) + " "; }

  private:
    struct Spy : DcMsm {
        static unsigned int socketOf(DcMsm& msm) { return msm.*(&Spy::sockConv_); }
    };

    static int contextOfImages(const DcMsm& msm) {
        DcMsmAssoInfo info;
        (void)msm.getAssoInfo(info);
        for (int i = 0; i < info.assoNum; ++i) {
            if (info.sopClass[i] == UID_CT_IMAGE_STORAGE && info.xferSyn[i] != UID_NONE)
                return info.presCtxId[i];
        }
        return 0;
    }
    void answer(DcMsm& msm) {
        Message request;
        ASSERT_EQ(receive(msm, request), MSM_MESSAGE);
        socket_ = Spy::socketOf(msm);
        context_ = what_ == What::object ? contextOfImages(msm) : contextOf(*request);
        const bool always = what_ == What::pending || what_ == What::pendingWithData;
        if (!always) (void)say(command(), 3);
        const bool slow = what_ == What::trickle || what_ == What::object;
        const Bytes piece(what_ == What::trickle ? 100 : 16000);
        bool going = true;
        while (going) {
            going = always ? say(command(), 3) : say(piece, 0);
            if (what_ == What::pendingWithData) going = say({0x10, 0, 0x20, 0, 'L', 'O', 2, 0, 'P', '1'}, 2);
            if (now_) now_();
            if (slow) std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
    }
    Bytes command() const {
        const bool object = what_ == What::object;
        Stream s(UID_LITTLE_ENDIAN_IMPLICIT);
        s.ui(0x00000002, "1.2.840.10008.5.1.4.1.1.2")
            .us(0x00000100, object ? 1u : static_cast<unsigned int>(answer_));
        s.us(object ? 0x00000110 : 0x00000120, 1).us(0x00000800, what_ == What::pending ? 0x0101 : 1);
        s.us(0x00000900, 0xFF00);
        if (object) s.ui(0x00001000, "1.2.34");
        return s.bytes();
    }
    bool say(const Bytes& value, int control) const {
        const Bytes all = pdu(PDU_TYPE_DATA_TF, pdv(context_, control, value));
        return orvkit::platform::sendTwo(socket_, all.data(), all.size(), nullptr, 0) ==
               static_cast<std::int64_t>(all.size());
    }

    MSG_TYPE answer_;
    What what_;
    std::function<void()> now_;
    unsigned int socket_ = 0;
    int context_ = 0;
    std::unique_ptr<Provider> provider_;
};

TEST_F(NetworkCommandTest, NothingThatAPeerSendsOutlivesTheTimeOutOrFillsTheMemory) {
    using What = Endless::What;
    const std::map<std::string, std::pair<DICT_UID, MSG_TYPE>> kinds = {
        {"echo", {UID_VERIFICATION, DICT_MSG_C_ECHO_RSP}},
        {"send", {UID_CT_IMAGE_STORAGE, DICT_MSG_C_STORE_RSP}},
        {"find", {UID_STUDY_ROOT_Q_R_FIND, DICT_MSG_C_FIND_RSP}},
        {"move", {UID_STUDY_ROOT_Q_R_MOVE, DICT_MSG_C_MOVE_RSP}},
        {"get", {UID_STUDY_ROOT_Q_R_GET, DICT_MSG_C_GET_RSP}}};
    const struct {
        std::string command, rest;
        What what;
        const char* said;
        int timeout = 60;  // seconds; short where it is what ends the command
    } rows[] = {
        {"echo", "", What::dataSet, "a data set that was not asked for"},
        {"echo", "", What::pending, "the peer answered 0xFF00", 2},
        {"send", "s/SE000001/IM000001", What::trickle, "that was not asked for"},
        {"find", "-k PatientID", What::dataSet, "larger data set than is taken"},
        {"find", "-k PatientID", What::trickle, "did not answer in time", 2},
        {"find", "-k PatientID --max-results 500", What::pendingWithData,
         "goes on after the request was cancelled", 2},
        {"move", "--dest X -k PatientID", What::pending, "cancelled: it made no progress", 2},
        {"get", "got -k PatientID", What::dataSet, "larger data set than is taken"},
        {"get", "third -k PatientID", What::pendingWithData, "cancelled: it made no progress", 2},
        {"get", "other -k PatientID --max-time 2", What::object, "it took longer than --max-time", 2}};
    must("orvkit phantom s --size 16 --series 1 --images 1");
    const auto expect = [&](const auto& row) {
        SCOPED_TRACE(row.command + " " + row.said);
        const auto& [model, answer] = kinds.at(row.command);
        const Endless peer(model, answer, row.what);
        const Outcome outcome = sh("timeout -s KILL 50 " ORVKIT_COMMAND " " + row.command + peer.peer() +
                                   row.rest + " --timeout " + std::to_string(row.timeout));
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(holds(outcome.err, row.said));
#ifndef ORVKIT_SANITIZED
        EXPECT_LT(outcome.residentKb, 100 << 10);
#endif
    };
    // As many at a time as ports may be listened at: most of it is waiting for time-outs.
    std::atomic<std::size_t> next = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < TSM_LISTEN_MAX; ++i) {
        threads.emplace_back([&] {
            for (std::size_t n = next++; n < std::size(rows); n = next++) expect(rows[n]);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST_F(NetworkCommandTest, TheFirstSignalEndsEvenWhatIsInTheMiddleOfAnObject) {
    const Endless peer(UID_STUDY_ROOT_Q_R_GET, DICT_MSG_C_GET_RSP, Endless::What::object, [this] { now(); });
    const auto begun = std::chrono::steady_clock::now();
    const Outcome outcome = sh(signalled("TERM", "get" + peer.peer() + "got -k PatientID --timeout 1"));
    EXPECT_EQ(outcome.status, 128 + SIGTERM);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(60));
    EXPECT_TRUE(names("got").empty());
}

// A provider of C-GET sends what no provider should: names that lead out of the directory, another object
// than it announced, and half an object.
TEST_F(NetworkCommandTest, GetStoresWholeObjectsUnderSafeNames) {
    const ExceptionLevel anyValue(0);
    std::vector<unsigned int> statuses;
    const auto store = [&](DcMsm& msm, const char* instance, DICT_UID named) {
        DcCmdCStoreRq request;
        request + new DcElem(T_0000_0002_affectedSopClassUid, UID_CT_IMAGE_STORAGE) +
            new DcElem(T_0000_1000_affectedSopInstanceUid, instance) +
            new DcElem(T_0008_0016_sopClassUid, named);
        ASSERT_EQ(msm.sendMessage(UID_CT_IMAGE_STORAGE, &request), 0);
        Message response;
        ASSERT_EQ(receive(msm, response), MSM_MESSAGE);
        unsigned short status = 0xFFFF;
        (void)response->getValue(T_0000_0900_status, status);
        statuses.push_back(status);
    };
    auto support = sopList({UID_CT_IMAGE_STORAGE}, {UID_LITTLE_ENDIAN_EXPLICIT}, TSM_ROLE_SCP);
    support.insert(support.begin(), sopList({UID_STUDY_ROOT_Q_R_GET}).front());
    Provider archive(
        support,
        [&](DcMsm& msm) {
            Message request;
            ASSERT_EQ(receive(msm, request), MSM_MESSAGE);
            const std::string tooLong = "1.2." + std::string(61, '3');
            for (const char* instance : {"../../evil", "1..2", tooLong.c_str(), "1.2.3"})
                store(msm, instance, UID_CT_IMAGE_STORAGE);
            store(msm, "1.2.5", UID_MR_IMAGE_STORAGE);
            // The image ends before its announced length: the provider gives up in the middle.
            const std::string pixels = (dir / "pixels").string();
            std::ofstream(pixels) << std::string(1000000, 'x');
            DcCmdCStoreRq half;
            half + new DcElem(T_0000_0002_affectedSopClassUid, UID_CT_IMAGE_STORAGE) +
                new DcElem(T_0000_1000_affectedSopInstanceUid, "1.2.4") +
                new DcElem(T_7fe0_0010_pixelData, pixels.c_str(), 0, 3000000, UID_LITTLE_ENDIAN_IMPLICIT);
            ASSERT_NE(msm.sendMessage(UID_CT_IMAGE_STORAGE, &half), 0);
        },
        "ARCHIVE", 0);
    const Outcome outcome = sh("orvkit get ARCHIVE@127.0.0.1:" + std::to_string(archive.port()) +
                               " deep/down -k StudyInstanceUID=1.2");
    archive.join();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(statuses, (std::vector<unsigned int>{0xC000, 0xC000, 0xC000, 0, 0xA900}));
    EXPECT_TRUE(holds(outcome.err, "'../../evil' is not a SOP Instance UID: the object is not stored"));
    EXPECT_TRUE(holds(outcome.err, "1.2.5: not stored: its data set names another SOP class"));
    EXPECT_TRUE(holds(outcome.err, "in the middle of a "));
    EXPECT_EQ(names("deep/down"), std::vector<std::string>{"1.2.3.dcm"});
    EXPECT_EQ(names("deep"), std::vector<std::string>{"down"});
    EXPECT_FALSE(fs::exists(dir / "evil.dcm"));
}

}  // namespace
}  // namespace tools_test
