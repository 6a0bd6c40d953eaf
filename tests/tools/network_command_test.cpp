// The command as a user of network services, against independent programs and against peers of our own.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <thread>

#include "orvkit/file.h"
#include "orvkit/msm.h"
#include "orvkit/result.h"
#include "tests/support/elem_values.h"
#include "tests/tools/command.h"

namespace tools_test {
namespace {

bool installed(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

// A port that listens and never answers.
class SilentPort {
  public:
    SilentPort() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* any = reinterpret_cast<sockaddr*>(&address);
        if (::bind(socket_, any, size) == 0 && ::listen(socket_, 4) == 0 &&
            ::getsockname(socket_, any, &size) == 0) {
            port_ = ntohs(address.sin_port);
        }
    }
    SilentPort(const SilentPort&) = delete;
    SilentPort& operator=(const SilentPort&) = delete;
    ~SilentPort() { ::close(socket_); }
    int port() const { return port_; }

  private:
    int socket_;
    int port_ = 0;
};

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
    // Free a moment ago.
    static int freePort() { return SilentPort().port(); }

    // The encoded data set of a file.
    static std::string dataset(const fs::path& path) {
        DcDirMetaInfo meta;
        unsigned int end = 0;
        if (dirReadFileMetaInfo(path.c_str(), meta, end) != 0) return "unreadable " + path.string();
        return contentOf(path).substr(end);
    }
    std::vector<std::string> datasets(const fs::path& below) const {
        std::vector<std::string> all;
        for (const auto& entry : fs::recursive_directory_iterator(dir / below)) {
            if (entry.is_regular_file()) all.push_back(dataset(entry.path()));
        }
        std::sort(all.begin(), all.end());
        return all;
    }
};

TEST_F(NetworkCommandTest, WrongUseIsToldFromFailure) {
    const struct {
        const char* script;
        int status;
        const char* said;
    } rows[] = {
        {"orvkit echo", 2, "PEER"},
        {"orvkit echo localhost", 2, "'localhost:' is not a peer: AET@host:port or host port"},
        {"orvkit echo TOO-LONG-A-TITLE-@h:1", 2, "is not an AE title"},
        {"orvkit send A@h:104", 2, "something must follow the peer"},
        {"orvkit find A@h:104 -k Nonsense=1", 2, "neither a tag nor a name"},
        {"orvkit find A@h:104 -k PixelData", 2, "not an element that can be asked for"},
        {"orvkit move A@h:104", 2, "--dest"},
        {"orvkit echo A@127.0.0.1:$P", 1, "cannot connect: connection refused"},
        {"orvkit echo A@nowhere.invalid:104", 1, "the host name is not known"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = net(row.script);
        EXPECT_EQ(outcome.status, row.status) << row.script << "\n" << outcome.err;
        EXPECT_TRUE(holds(outcome.err, row.said)) << row.script;
    }
}

TEST_F(NetworkCommandTest, APeerThatDoesNotAnswerIsLeftInTime) {
    const SilentPort silent;
    const auto begun = std::chrono::steady_clock::now();
    const Outcome outcome = sh("orvkit echo 127.0.0.1 " + std::to_string(silent.port()) + " --timeout 1");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.err, "the peer did not answer in time"));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(3));
}

TEST_F(NetworkCommandTest, EchoTellsTimesAndRejects) {
    if (!installed("storescp")) GTEST_SKIP() << "storescp is not installed";
    const Outcome echo = net("start $P storescp $P; orvkit echo THEM@localhost:$P --repeat 3");
    EXPECT_EQ(echo.status, 0) << echo.err;
    EXPECT_TRUE(holds(echo.out, "echo 3: "));
    EXPECT_TRUE(holds(echo.out, "3 echoes"));
    const Outcome refused = net("start $P storescp --refuse $P; orvkit echo THEM@localhost:$P");
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(holds(refused.err,
                      "association rejected: rejected-permanent by the DICOM UL service-user: "
                      "no-reason-given"));
}

TEST_F(NetworkCommandTest, SendStoresFilesAsTheyAre) {
    for (const char* peer : {"storescp", "dcmcrle", "dcmcjpeg"}) {
        if (!installed(peer)) GTEST_SKIP() << peer << " is not installed";
    }
    const Outcome outcome =
        net("orvkit phantom s --size 64 >/dev/null; cd s/SE000001\n"
            "orvkit convert IM000001 IM000001 --to implicit; orvkit convert IM000002 IM000002 --to big\n"
            "dcmcrle IM000003 IM000003; dcmcjpeg IM000004 IM000004; cd ../..\n"
            "mkdir in; start $P storescp +xa +B -od in $P; orvkit send A@localhost:$P -j 3 s");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(holds(outcome.out, "12 sent"));
    EXPECT_EQ(datasets("in"), datasets("s"));
}

TEST_F(NetworkCommandTest, SendTellsWhyEachFileFailed) {
    for (const char* peer : {"storescp", "dcmcrle"}) {
        if (!installed(peer)) GTEST_SKIP() << peer << " is not installed";
    }
    const Outcome outcome =
        net("orvkit phantom s --size 16 --series 1 --images 2 >/dev/null; echo no image >s/text\n"
            "dcmcrle s/SE000001/IM000001 s/rle; mkdir in; start $P storescp -od in $P\n"
            "orvkit send localhost $P s missing");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.out, "2 sent"));
    EXPECT_TRUE(holds(outcome.out, "3 failed"));
    EXPECT_TRUE(holds(outcome.err, "orvkit: s/text: not a DICOM Part 10 file\n"));
    EXPECT_TRUE(holds(outcome.err, "orvkit: missing: cannot be examined\n"));
    EXPECT_TRUE(holds(outcome.err, "orvkit: s/rle: the peer does not support the transfer syntax: "));
    EXPECT_EQ(names("in").size(), 2u);
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

TEST_F(NetworkCommandTest, FindMoveAndGetFromAnArchive) {
    for (const char* peer : {"dcmqrscp", "storescp"}) {
        if (!installed(peer)) GTEST_SKIP() << peer << " is not installed";
    }
    const std::string archive =
        "mkdir -p db moved\n"
        "cat >qr.cfg <<END\nNetworkTCPPort = $P\nMaxPDUSize = 16384\nMaxAssociations = 4\n"
        "HostTable BEGIN\nmover = (MOVER, localhost, $Q)\nHostTable END\nVendorTable BEGIN\nVendorTable END\n"
        "AETable BEGIN\nQR $PWD/db RW (9, 99mb) ANY\nAETable END\nEND\n"
        "start $P dcmqrscp -c qr.cfg; start $Q storescp +B -od moved $Q; QR=QR@localhost:$P\n"
        "orvkit send $QR s >/dev/null\n";
    ASSERT_EQ(sh("orvkit phantom s --size 32 --images 2").status, 0);
    const std::string study = "1.3.6.1.4.1.70707.9.1.1.1";

    const Outcome found =
        net(archive +
            "orvkit find $QR -k PatientName='Ph*' && orvkit find $QR -k PatientName=NO* &&\n"
            "orvkit find $QR -k SeriesInstanceUID -k StudyInstanceUID=" +
            study + " --json >series.json\norvkit find OTHER@localhost:$P");
    EXPECT_TRUE(holds(found.out, "PatientsName"));
    EXPECT_TRUE(holds(found.out, "Phantom^Head"));
    EXPECT_TRUE(holds(found.out, study));
    EXPECT_EQ(std::count(found.out.begin(), found.out.end(), '\n'), 2);
    const std::string json = contentOf(dir / "series.json");
    EXPECT_TRUE(holds(json, "\"0020000E\": {\"vr\": \"UI\", \"Value\": [\"" + study + ".2\"]}"));
    EXPECT_EQ(found.status, 1);
    EXPECT_TRUE(holds(found.err, "called-AE-title-not-recognized"));

    const std::string key = " -k StudyInstanceUID=" + study;
    const Outcome moved =
        net(archive + "orvkit move $QR --dest MOVER" + key + " && orvkit move $QR --dest NOBODY" + key);
    EXPECT_TRUE(holds(moved.out, "4 completed, 0 with a warning, 0 failed"));
    EXPECT_EQ(datasets("moved"), datasets("s"));
    EXPECT_EQ(moved.status, 1);
    EXPECT_TRUE(holds(moved.err, "0xA801 (refused: move destination unknown)"));

    const Outcome got = net(archive + "orvkit get $QR got" + key);
    EXPECT_EQ(got.status, 0) << got.err;
    EXPECT_EQ(datasets("got"), datasets("s"));
    EXPECT_EQ(names("got").size(), 4u);
}

// A provider of C-GET that sends what no provider should: names that lead out of the directory, and half an
// object.
class HostileArchive {
  public:
    HostileArchive(int port, fs::path directory)
        : directory_(std::move(directory)), thread_([this, port] { serve(port); }) {}
    ~HostileArchive() { join(); }
    void join() {
        if (thread_.joinable()) thread_.join();
    }
    std::vector<unsigned int> statuses;  // of the C-STORE responses

  private:
    void serve(int port) {
        DcMsm msm("ARCHIVE", TSM_ROLE_SCP, port);
        DcMsmSopXferSyn support[] = {{UID_STUDY_ROOT_Q_R_GET, nullptr, TSM_ROLE_NONE},
                                     {UID_CT_IMAGE_STORAGE, nullptr, TSM_ROLE_SCP},
                                     {}};
        DcMsmScpInfo info;
        info.sopList = support;
        info.timeouts.connectTimeout = 10;
        ASSERT_EQ(msm.connect(info, MSM_BLOCK_CONNECT_POLL), 0);
        ASSERT_EQ(msm.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL),
                  MSM_REQUEST_ANSWERED);
        DcMsg* message = nullptr;
        ASSERT_EQ(msm.receiveMessage(nullptr, &message, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL),
                  MSM_MESSAGE);
        const std::unique_ptr<DcMsg> request(message);
        const std::string tooLong = "1.2." + std::string(61, '3');
        for (const char* instance : {"../../evil", "1..2", tooLong.c_str(), "1.2.3"}) store(msm, instance);
        // The image ends before its announced length: the provider gives up in the middle.
        const std::string pixels = (directory_ / "pixels").string();
        std::ofstream(pixels) << std::string(1000000, 'x');
        DcCmdCStoreRq half;
        half + new DcElem(T_0000_0002_affectedSopClassUid, UID_CT_IMAGE_STORAGE) +
            new DcElem(T_0000_1000_affectedSopInstanceUid, "1.2.4") +
            new DcElem(T_7fe0_0010_pixelData, pixels.c_str(), 0, 3000000, UID_LITTLE_ENDIAN_IMPLICIT);
        ASSERT_NE(msm.sendMessage(UID_CT_IMAGE_STORAGE, &half), 0);
        msm.closeAssociation();
    }
    void store(DcMsm& msm, const char* instance) {
        DcCmdCStoreRq request;
        request + new DcElem(T_0000_0002_affectedSopClassUid, UID_CT_IMAGE_STORAGE) +
            new DcElem(T_0000_1000_affectedSopInstanceUid, instance) + new DcElem(T_0008_0060_modality, "CT");
        ASSERT_EQ(msm.sendMessage(UID_CT_IMAGE_STORAGE, &request), 0);
        DcMsg* message = nullptr;
        ASSERT_EQ(msm.receiveMessage(nullptr, &message, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL),
                  MSM_MESSAGE);
        const std::unique_ptr<DcMsg> response(message);
        unsigned short status = 0xFFFF;
        (void)response->getValue(T_0000_0900_status, status);
        statuses.push_back(status);
    }

    fs::path directory_;
    std::thread thread_;
};

TEST_F(NetworkCommandTest, GetStoresWholeObjectsUnderSafeNames) {
    const ExceptionLevel anyValue(0);
    const int port = freePort();
    HostileArchive archive(port, dir);
    const Outcome outcome =
        sh("for i in $(seq 50); do orvkit get ARCHIVE@127.0.0.1:" + std::to_string(port) +
           " deep/down -k StudyInstanceUID=1.2 2>err; s=$?; grep -q refused err || break\n"
           "sleep 0.05; done; cat err >&2; exit $s");
    archive.join();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(archive.statuses, (std::vector<unsigned int>{0xC000, 0xC000, 0xC000, 0}));
    EXPECT_TRUE(holds(outcome.err, "'../../evil' is not a SOP Instance UID: the object is not stored"));
    EXPECT_TRUE(holds(outcome.err, "the association was closed: in a message the peer broke off"));
    EXPECT_EQ(names("deep/down"), std::vector<std::string>{"1.2.3.dcm"});
    EXPECT_EQ(names("deep"), std::vector<std::string>{"down"});
    EXPECT_FALSE(fs::exists(dir / "evil.dcm"));
}

}  // namespace
}  // namespace tools_test
