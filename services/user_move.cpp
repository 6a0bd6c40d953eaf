// Having a peer send objects to another one (C-MOVE, PS3.4 annex C).
#include "services/user.h"

#include <memory>

#include "orvkit/keywords.h"
#include "orvkit/tags.h"
#include "services/report.h"
#include "services/retrieve.h"

namespace services {

int move(const QueryOptions& options, const std::string& destination) {
    QueryKeys keys;
    if (!keys.parse(options)) return EXIT_USAGE;
    const DICT_UID model = options.instanceRoot()  ? DcUid::CompositeInstanceRootRetrieveMove
                           : options.patientRoot() ? UID_PAT_ROOT_Q_R_MOVE
                                                   : UID_STUDY_ROOT_Q_R_MOVE;
    Association association(options);
    if (!openFor(association, options, model, {})) return EXIT_FAILED;
    DcCmdCMoveRq request;
    fillRequest(request, model, keys);
    (void)request.add(new DcElem(T_0000_0600_moveDestination, destination.c_str()));
    Retrieval retrieval(options);
    Answers answers(association, options, model);
    bool answered = association.send(request, model);
    while (answered && !retrieval.ended()) {
        const std::unique_ptr<DcMsg> response =
            answers.await() ? association.receive(DICT_MSG_C_MOVE_RSP) : nullptr;
        answered = response != nullptr;
        if (answered && retrieval.response(*response)) answers.gain();
    }
    const int status = retrieval.finish(answered ? "" : answers.fault());
    const bool cancelled = answers.tellCancelled();
    association.release();
    return cancelled ? EXIT_FAILED : status;
}

}  // namespace services
