// Two application entities on loopback: the provider runs in a thread of its own while the test drives the
// user.
#ifndef ORVKIT_TESTS_NETWORK_PAIR_H
#define ORVKIT_TESTS_NETWORK_PAIR_H

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "orvkit/msm.h"
#include "support/capture_log.h"

using Message = std::unique_ptr<DcMsg>;

inline std::vector<DcMsmSopXferSyn> sopList(std::initializer_list<DICT_UID> sops,
                                            std::vector<DICT_UID> syntaxes = {UID_LITTLE_ENDIAN_EXPLICIT},
                                            TSM_ROLE role = TSM_ROLE_NONE) {
    syntaxes.push_back(UID_NONE);
    std::vector<DcMsmSopXferSyn> list;
    for (DICT_UID sop : sops) list.emplace_back(sop, syntaxes.data(), role);
    list.emplace_back();
    return list;
}

inline DcTsmTimeoutInfo seconds(int all) {
    DcTsmTimeoutInfo info;
    info.connectTimeout = info.readTimeout = info.writeTimeout = all;
    return info;
}

// A provider that accepts one association and then does what the test says.
class Provider {
  public:
    using Work = std::function<void(DcMsm&)>;

    Provider(std::vector<DcMsmSopXferSyn> support, Work work, const char* title = "PROVIDER",
             int aeTitleCheck = 2, const Work& prepare = {})
        : support_(std::move(support)), msm_(title, TSM_ROLE_SCP, 0) {
        info_.sopList = support_.data();
        info_.timeouts = seconds(10);
        static const char* known[] = {"KNOWN", nullptr};
        info_.callingAeTitles = known;
        msm_.setAeTitleCheck(aeTitleCheck);
        if (prepare) prepare(msm_);
        thread_ = std::thread([this, work = std::move(work)] {
            accepted = msm_.connect(info_, MSM_BLOCK_CONNECT_POLL);
            if (accepted != RESULT_OK) return;
            answered = msm_.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
            if (work) work(msm_);
            msm_.closeAssociation();
        });
    }
    ~Provider() { join(); }

    void join() {
        if (thread_.joinable()) thread_.join();
    }
    int port() const { return msm_.getPort(); }

    int accepted = -1, answered = -1;

  private:
    QuietLog quiet_;
    std::vector<DcMsmSopXferSyn> support_;
    DcMsmScpInfo info_;
    DcMsm msm_;
    std::thread thread_;
};

inline int receive(DcMsm& msm, Message& message, DICT_UID* sop = nullptr) {
    DcMsg* received = nullptr;
    const int result = msm.receiveMessage(sop, &received, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    message.reset(received);
    return result;
}

// The user side.
class User : public DcMsm {
  public:
    explicit User(int port, const char* title = "USER") : DcMsm(title, TSM_ROLE_SCU, port) {}

    int open(std::vector<DcMsmSopXferSyn> proposals, const char* called = "PROVIDER", int timeout = 10) {
        DcMsmScuInfo info;
        info.calledAeTitle = called;
        info.sopList = proposals.data();
        info.timeouts = seconds(timeout);
        return connect("127.0.0.1", info);
    }
    int receive(Message& message) { return ::receive(*this, message); }
    // Releases and waits for the answer.
    int release() {
        if (const int result = releaseAssociation(); result != RESULT_OK) return result;
        return read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    }
};

// No sooner, and not as late as what the peer does would end by itself: the machine may be busy.
inline void expectTook(double seconds, std::chrono::steady_clock::time_point begun) {
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    EXPECT_GE(took, seconds - 0.05);
    EXPECT_LE(took, seconds + 8);
}

inline unsigned char contextOf(DcMsg& message) {
    DcPduInfoTf info;
    message.getInfo(info);
    return info.presCtxId;
}

constexpr unsigned int kPixels = 400000;  // of the images that are stored

// Answers every C-STORE until the association ends; gives how many were whole, or -1.
inline int serveStores(DcMsm& provider) {
    int whole = 0, result = MSM_MESSAGE;
    for (Message request; (result = receive(provider, request)) == MSM_MESSAGE;) {
        DcElem* pixels = nullptr;
        unsigned int size = 0;
        if (request->getElem(T_7fe0_0010_pixelData, &pixels) == RESULT_OK &&
            pixels->getBufSize(size, nullptr) == RESULT_OK && size >= kPixels) {
            ++whole;
        }
        DcCmdCStoreRsp response(static_cast<DcCmdCStoreRq*>(request.get()));
        response.add(new DcElem(T_0000_0900_status, static_cast<unsigned short>(0)));
        if (provider.write(contextOf(*request), &response) != RESULT_OK) return -1;
    }
    return result == MSM_RELEASE_REQUESTED ? whole : -1;
}

// Stores an image whose pixels are in memory or in a file.
inline bool storeOne(User& user, unsigned char* memory, const char* path) {
    DcCmdCStoreRq request;
    request.add(new DcElem(T_0000_0002_affectedSopClassUid, UID_CT_IMAGE_STORAGE));
    request.add(new DcElem(T_0000_1000_affectedSopInstanceUid, "1.2.3"));
    request.add(new DcElem(T_0010_0010_patientsName, "Doe^John"));
    auto* const pixels = new DcElem(T_7fe0_0010_pixelData, nullptr, 0u, UID_NONE, VR_OX, 0);
    EXPECT_EQ(path != nullptr ? pixels->addValue(path, 0, kPixels, UID_LITTLE_ENDIAN_EXPLICIT)
                              : pixels->addValue(memory, kPixels, UID_LITTLE_ENDIAN_EXPLICIT),
              RESULT_OK);
    request.add(pixels);
    Message response;
    return user.write(UID_CT_IMAGE_STORAGE, &request) == RESULT_OK && user.receive(response) == MSM_MESSAGE &&
           response->getType() == DICT_MSG_C_STORE_RSP;
}

#endif
