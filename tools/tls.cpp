// orvkit tls: certificates for a small site, and what a peer offers.
#include <memory>

#include "services/security.h"
#include "services/security_show.h"
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {

void addTls(Command& program) {
    Command& tls =
        program.command("tls", "Make certificates for a small site, and see what a peer's TLS is like");
    Command& make = tls.command("make", "Make a private authority and key pairs for its parties");
    auto site = std::make_shared<SiteOptions>();
    make.text("DIR", site->directory,
              "Directory of ca.pem and ca.key, which are made if absent, and of the pairs")
        .required();
    make.texts("NAME", site->parties,
               "A party: NAME.pem and NAME.key are made, for the host NAME; more names and addresses of it "
               "stand behind commas: pacs,pacs.local,10.0.0.5");
    make.text("--authority NAME", site->authority, "What the authority calls itself");
    make.number("--days DAYS", site->days, "How long the pairs are valid").range(1, 36500);
    make.number("--authority-days DAYS", site->authorityDays, "The same of the authority").range(1, 36500);
    make.run([site] {
        muteLog();
        return makeSite(*site);
    });

    Command& show = tls.command("show", "See what TLS a peer offers, and its certificate");
    auto options = std::make_shared<PeerOptions>();
    auto words = addPeerOptions(show, *options, "", "");
    show.footer("Exit status 1 when it took no profile, or is not whom --tls-ca and --tls-pin tell.");
    show.run([options, words]() -> int {
        if (!hasTls()) return misused("TLS is left out of this orvkit: it was built without OpenSSL");
        options->tls.on = true;
        if (options->tls.authorities.empty() && options->tls.pins.empty())
            options->tls.check = TLS_CHECK_NONE;
        return runAsUser(*options, *words, false, [&] { return showSecurity(*options); });
    });
}

}  // namespace tools
