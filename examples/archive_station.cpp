// An archive and a workstation in one program, written as applications were on 32-bit Windows: arrays of
// char, result codes, the C library. The workstation makes two images, asks the archive for an echo, stores
// the images there, and queries for them (C-ECHO, C-STORE, C-FIND over one association on loopback); in the
// end each image that the archive kept is compared with the one that was made.
//     example_archive_station [DIRECTORY]    for its files, which are removed again; ends 0 if all went well
#include <stdio.h>
#include <string.h>

#include <thread>

#include "orvkit/orvkit.h"

#define IMAGES 2
#define SIDE 32
#define PATH_ROOM 400

// What one side keeps count of. Each side is one thread's.
struct Side {
    const char* name;
    int failures;
};

struct Archive {
    Side side;
    DcMsm* msm;
    const char* directory;
    int count;
    char instance[IMAGES][65];
    char patient[IMAGES][65];
};

static const unsigned short STATUS_SUCCESS = 0x0000;
static const unsigned short STATUS_PENDING = 0xFF00;
static const unsigned short STATUS_NO_RESOURCES = 0xA700;

// Prints a step with its result code. Returns 1 if it is the one that was expected.
static int step(Side* side, const char* what, int result, int expected) {
    printf("%-8s %-34s %5d  %s\n", side->name, what, result, result == expected ? "good" : "NOT AS EXPECTED");
    if (result == expected) return 1;
    side->failures++;
    return 0;
}

static void makePath(char* path, const char* directory, const char* what, int number) {
    snprintf(path, PATH_ROOM, "%s/station_%s_%d.dcm", directory, what, number);
}

// The services, for the provider to support and for the user to propose; the last entry ends the list.
static void fillServices(DcMsmSopXferSyn list[4], DICT_UID firstChoice, DICT_UID secondChoice) {
    DICT_UID syntaxes[] = {firstChoice, secondChoice, UID_NONE};
    list[0] = DcMsmSopXferSyn(UID_VERIFICATION, syntaxes);
    list[1] = DcMsmSopXferSyn(UID_SC_IMAGE_STORAGE, syntaxes);
    list[2] = DcMsmSopXferSyn(UID_PAT_ROOT_Q_R_FIND, syntaxes);
    list[3] = DcMsmSopXferSyn();
}

// ---- the archive: a provider ------------------------------------------------------------------------------

static unsigned short keep(Archive* archive, DcMsg* request, DICT_UID xferSyn) {
    if (archive->count == IMAGES) return STATUS_NO_RESOURCES;
    char* instance = archive->instance[archive->count];
    if (request->getValue(T_0000_1000_affectedSopInstanceUid, instance, 64) != 0 ||
        request->getValue(T_0010_0020_patientId, archive->patient[archive->count], 64) != 0) {
        return STATUS_NO_RESOURCES;
    }
    char path[PATH_ROOM];
    makePath(path, archive->directory, "kept", archive->count);
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = xferSyn;
    // Command elements of the list do not reach the file.
    if (!step(&archive->side, "dirWriteFile", dirWriteFile(path, meta, *request), 0))
        return STATUS_NO_RESOURCES;
    archive->count++;
    return STATUS_SUCCESS;
}

static int answerEcho(Archive* archive, DcCmdCEchoRq* request, unsigned char context) {
    DcCmdCEchoRsp response(request);
    response + new DcElem(T_0000_0900_status, STATUS_SUCCESS);
    return archive->msm->write(context, &response);
}

static int answerStore(Archive* archive, DcCmdCStoreRq* request, unsigned char context, DICT_UID xferSyn) {
    DcCmdCStoreRsp response(request);
    response + new DcElem(T_0000_0900_status, keep(archive, request, xferSyn));
    return archive->msm->write(context, &response);
}

// An answer for each image of the patient, and one without a data set that ends them.
static int answerFind(Archive* archive, DcCmdCFindRq* request, unsigned char context) {
    char patient[65];
    int result = request->getValue(T_0010_0020_patientId, patient, 64);
    for (int i = 0; result == 0 && i < archive->count; i++) {
        if (strcmp(patient, archive->patient[i]) != 0) continue;
        DcElemList* found = new DcElemList;
        *found + new DcElem(T_0008_0018_sopInstanceUid, archive->instance[i]);
        *found + new DcElem(T_0008_0052_queryRetrieveLevel, "IMAGE");
        *found + new DcElem(T_0010_0020_patientId, archive->patient[i]);
        DcCmdCFindRsp response(request);
        response + new DcElem(T_0000_0900_status, STATUS_PENDING);
        response + found;  // destroys the list: its elements are the response's now
        result = archive->msm->write(context, &response);
    }
    DcCmdCFindRsp last(request);
    last + new DcElem(T_0000_0900_status, result == 0 ? STATUS_SUCCESS : STATUS_NO_RESOURCES);
    return archive->msm->write(context, &last);
}

// Serves one association. DcMsm::connect of a user waits for the archive's answer: hence a thread for it.
static void runArchive(Archive* archive) {
    DcMsmSopXferSyn support[4];
    fillServices(support, UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT);
    DcMsmScpInfo info;
    info.sopList = support;
    info.timeouts.readTimeout = 10;  // seconds

    Side* side = &archive->side;
    DcMsm* msm = archive->msm;
    if (!step(side, "connect", msm->connect(info, MSM_BLOCK_CONNECT_POLL), 0)) return;
    int result = msm->read(NULL, NULL, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    step(side, "read: association request", result, MSM_REQUEST_ANSWERED);
    for (;;) {
        DcMsg* request = NULL;
        result = msm->receiveMessage(NULL, &request, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
        if (result != MSM_MESSAGE) break;
        char name[61];
        request->getDesc(name);
        DcPduInfoTf travel;
        request->getInfo(travel);
        switch (request->getType()) {
            case DICT_MSG_C_ECHO_RQ:
                result = answerEcho(archive, static_cast<DcCmdCEchoRq*>(request), travel.presCtxId);
                break;
            case DICT_MSG_C_STORE_RQ:
                result = answerStore(archive, static_cast<DcCmdCStoreRq*>(request), travel.presCtxId,
                                     travel.xferSyn);
                break;
            case DICT_MSG_C_FIND_RQ:
                result = answerFind(archive, static_cast<DcCmdCFindRq*>(request), travel.presCtxId);
                break;
            default:
                result = msm->abortAssociation();
                break;
        }
        step(side, name, result, 0);
        delete request;
    }
    step(side, "receiveMessage: release", result, MSM_RELEASE_REQUESTED);
    msm->closeAssociation();
}

// ---- the workstation: a user ------------------------------------------------------------------------------

static void makeImage(DcElemList& dataset, char* series, char* instance, int number) {
    unsigned char pixels[SIDE * SIDE];
    for (int i = 0; i < SIDE * SIDE; i++) pixels[i] = static_cast<unsigned char>(i * number);
    dataset + new DcElem(T_0008_0016_sopClassUid, UID_SC_IMAGE_STORAGE);
    dataset + new DcElem(T_0008_0018_sopInstanceUid, instance);
    dataset + new DcElem(T_0008_0060_modality, "OT");
    dataset + new DcElem(T_0010_0010_patientsName, "Station^Stella");
    dataset + new DcElem(T_0010_0020_patientId, "4711");
    dataset + new DcElem(T_0020_000e_seriesInstanceUid, series);
    dataset + new DcElem(T_0020_0013_instanceNumber, number);
    dataset + new DcElem(T_0028_0010_rows, SIDE);
    dataset + new DcElem(T_0028_0011_columns, SIDE);
    dataset + new DcElem(T_0028_0100_bitsAllocated, 8);
    dataset + new DcElem(T_7fe0_0010_pixelData, pixels, sizeof pixels, UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0);
}

// Receives one response. `instance` receives the UID that an answer to C-FIND tells.
static void expectStatus(DcMsm* msm, Side* side, unsigned short expected, char* instance) {
    DcMsg* response = NULL;
    unsigned short status = 0xFFFF;
    int result = msm->receiveMessage(NULL, &response, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    if (step(side, "receiveMessage", result, MSM_MESSAGE)) {
        response->getValue(T_0000_0900_status, status);
        if (instance != NULL) response->getValue(T_0008_0018_sopInstanceUid, instance, 64);
    }
    step(side, "status", status, expected);
    delete response;
}

static void runStation(Side* side, int port, const char* directory, char instance[IMAGES][65]) {
    DcMsmSopXferSyn proposed[4];
    fillServices(proposed, UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT);
    char called[] = "ARCHIVE";
    DcMsmScuInfo info;
    info.calledAeTitle = called;
    info.sopList = proposed;
    info.timeouts.readTimeout = 10;
    DcMsm msm("STATION", TSM_ROLE_SCU, port);
    int opened = step(side, "connect", msm.connect("127.0.0.1", info), MSM_ACCEPTED);

    if (opened) {
        DcCmdCEchoRq echo;
        step(side, "write: C-ECHO-RQ", msm.write(UID_VERIFICATION, &echo), 0);
        expectStatus(&msm, side, STATUS_SUCCESS, NULL);
    }
    for (int i = 0; opened && i < IMAGES; i++) {
        char path[PATH_ROOM];
        makePath(path, directory, "made", i);
        step(side, "sendMessage: C-STORE-RQ", msm.sendMessage(path), 0);
        expectStatus(&msm, side, STATUS_SUCCESS, NULL);
    }
    if (opened) {
        DcElemList* keys = new DcElemList;
        *keys + new DcElem(T_0008_0018_sopInstanceUid, "");
        *keys + new DcElem(T_0008_0052_queryRetrieveLevel, "IMAGE");
        *keys + new DcElem(T_0010_0020_patientId, "4711");
        DcCmdCFindRq find;
        find + new DcElem(T_0000_0002_affectedSopClassUid, UID_PAT_ROOT_Q_R_FIND);
        find + new DcElem(T_0000_0700_priority, 0);
        find + keys;
        step(side, "write: C-FIND-RQ", msm.write(UID_PAT_ROOT_Q_R_FIND, &find), 0);
        for (int i = 0; i < IMAGES; i++) {
            char found[65] = "";
            expectStatus(&msm, side, STATUS_PENDING, found);
            step(side, "the instance's UID is that stored", strcmp(found, instance[i]), 0);
        }
        expectStatus(&msm, side, STATUS_SUCCESS, NULL);
        step(side, "releaseAssociation", msm.releaseAssociation(), 0);
        int result = msm.read(NULL, NULL, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
        step(side, "read: release response", result, MSM_RELEASED);
    }
    msm.closeAssociation();
}

// ---- both -------------------------------------------------------------------------------------------------

// The data set of a file, encoded; the caller frees it with utilDelete.
static unsigned char* encodedFile(Side* side, const char* path, unsigned int* length) {
    DcDirMetaInfo meta;
    DcElemList dataset;
    if (!step(side, "dirReadFile", dirReadFile(path, meta, dataset), 0)) return NULL;
    dataset.getBufSize(*length, TAG_LIST_END);
    unsigned char* bytes = static_cast<unsigned char*>(utilNew(static_cast<int>(*length)));
    if (bytes != NULL) step(side, "encode", dataset.encode(bytes, *length, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    return bytes;
}

static void compare(Side* side, const char* made, const char* kept) {
    unsigned int madeLength = 0;
    unsigned int keptLength = 0;
    unsigned char* a = encodedFile(side, made, &madeLength);
    unsigned char* b = encodedFile(side, kept, &keptLength);
    int same = a != NULL && b != NULL && madeLength > SIDE * SIDE && madeLength == keptLength &&
               memcmp(a, b, madeLength) == 0;
    step(side, "kept as it was made", same, 1);
    utilDelete(a);
    utilDelete(b);
}

int main(int argc, char** argv) {
    const char* directory = argc > 1 ? argv[1] : ".";
    Side side = {"STATION", 0};
    char instance[IMAGES][65] = {"", ""};
    char series[65] = "";
    char made[PATH_ROOM];
    char kept[PATH_ROOM];
    Dict.genUid(series);
    for (int i = 0; i < IMAGES; i++) {
        Dict.genUid(instance[i]);
        makePath(made, directory, "made", i);
        DcDirMetaInfo meta;
        meta.version = 1;
        meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
        DcElemList dataset;
        makeImage(dataset, series, instance[i], i + 1);
        step(&side, "dirWriteFile", dirWriteFile(made, meta, dataset), 0);
    }

    DcMsm provider("ARCHIVE", TSM_ROLE_SCP, 0);  // listens from here on, on a port that the system chooses
    Archive archive = {{"ARCHIVE", 0}, &provider, directory, 0, {"", ""}, {"", ""}};
    if (step(&side, "listening", provider.getListenResult(), 0)) {
        std::thread thread(runArchive, &archive);
        runStation(&side, provider.getPort(), directory, instance);
        thread.join();
    }

    for (int i = 0; i < IMAGES; i++) {
        makePath(made, directory, "made", i);
        makePath(kept, directory, "kept", i);
        compare(&side, made, kept);
        remove(made);
        remove(kept);
    }
    printf("%d failures\n", side.failures + archive.side.failures);
    return side.failures + archive.side.failures == 0 ? 0 : 1;
}
