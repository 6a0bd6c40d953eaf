// Application entities in threads of their own, on a port that they share. It says most under
// ThreadSanitizer.
#include <atomic>
#include <thread>

#include "network/pair.h"

namespace {

constexpr int kThreads = 2;
constexpr int kAssociations = 4;  // each thread opens, one behind the other
constexpr int kStores = 8;        // each association sends

// Answers every C-STORE until the association ends; gives how many were whole.
int serve(DcMsm& provider, DcMsmScpInfo& info) {
    if (provider.connect(info, MSM_BLOCK_CONNECT_POLL) != RESULT_OK) return -1;
    if (provider.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL) !=
        MSM_REQUEST_ANSWERED) {
        return -1;
    }
    int whole = 0;
    for (Message request; receive(provider, request) == MSM_MESSAGE;) {
        char name[65] = "";
        if (request->getValue(T_0010_0010_patientsName, name, sizeof name - 1) == RESULT_OK) ++whole;
        DcCmdCStoreRsp response(static_cast<DcCmdCStoreRq*>(request.get()));
        response.add(new DcElem(T_0000_0900_status, static_cast<unsigned short>(0)));
        if (provider.write(contextOf(*request), &response) != RESULT_OK) return -1;
    }
    provider.closeAssociation();
    return whole;
}

bool store(User& user) {
    DcCmdCStoreRq request;
    request.add(new DcElem(T_0000_0002_affectedSopClassUid, UID_CT_IMAGE_STORAGE));
    request.add(new DcElem(T_0000_1000_affectedSopInstanceUid, "1.2.3"));
    request.add(new DcElem(T_0010_0010_patientsName, "Doe^John"));
    auto* const pixels = new DcElem(T_7fe0_0010_pixelData, nullptr, 0u, UID_NONE, VR_OW, 0);
    const std::vector<unsigned char> image(100000, 7);
    pixels->addValue(image.data(), static_cast<unsigned int>(image.size()), UID_LITTLE_ENDIAN_EXPLICIT);
    request.add(pixels);
    Message response;
    return user.write(UID_CT_IMAGE_STORAGE, &request) == RESULT_OK && user.receive(response) == MSM_MESSAGE &&
           response->getType() == DICT_MSG_C_STORE_RSP;
}

TEST(Threads, AssociationsSideBySide) {
    const QuietLog quiet;
    const DcMsm listener("PROVIDER", TSM_ROLE_SCP, 0);
    const int port = listener.getPort();
    std::atomic<int> received = 0;
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            auto support = sopList({UID_CT_IMAGE_STORAGE});
            for (int i = 0; i < kAssociations; ++i) {
                DcMsm provider("PROVIDER", TSM_ROLE_SCP, port);  // joins the port, and leaves it
                DcMsmScpInfo info;
                info.sopList = support.data();
                info.timeouts = seconds(20);
                const int whole = serve(provider, info);
                if (whole < 0) {
                    ++failures;
                } else {
                    received += whole;
                }
            }
        });
        threads.emplace_back([&] {
            for (int i = 0; i < kAssociations; ++i) {
                User user(port);
                bool good = user.open(sopList({UID_CT_IMAGE_STORAGE}), "PROVIDER", 20) == MSM_ACCEPTED;
                for (int n = 0; good && n < kStores; ++n) good = store(user);
                if (!good || user.release() != MSM_RELEASED) ++failures;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(received, kThreads * kAssociations * kStores);
}

}  // namespace
