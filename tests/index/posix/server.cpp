#include "index/server.h"

#include <stdlib.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "index/session.h"
#include "index/trouble.h"
#include "support/temp_dir.h"

PostgresqlServer& PostgresqlServer::get() {
    static PostgresqlServer server;
    return server;
}

PostgresqlServer::PostgresqlServer() {
    // A socket's name is short, whatever the directory for temporary files.
    char directory[] = "/tmp/orvkit-pg-XXXXXX";
    if (::mkdtemp(directory) == nullptr) {
        fault_ = "no directory";
        return;
    }
    directory_ = directory;
    // However this program ends, the pipe does, and then the server.
    pipe_ = ::popen((std::string(ORVKIT_POSTGRESQL_SCRIPT) + " run " + directory_).c_str(), "we");
    std::string said;
    while (said.empty() || said.back() != '\n') {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (std::filesystem::exists(directory_ + "/ready")) said = readWhole(directory_ + "/ready");
    }
    said.pop_back();
    if (said != "ready") fault_ = said;
}

PostgresqlServer::~PostgresqlServer() {
    if (pipe_ != nullptr) (void)::pclose(static_cast<FILE*>(pipe_));
}

void PostgresqlServer::tell(const std::string& what) const {
    if (std::system((std::string(ORVKIT_POSTGRESQL_SCRIPT) + " " + what + " " + directory_).c_str()) != 0)
        std::abort();
}

std::string PostgresqlServer::newPlace() {
    const std::string schema = "archive" + std::to_string(++places_);
    const std::string place =
        "postgresql://orvkit@/postgres?host=" + directory_ + "&options=-csearch_path%3D" + schema;
    try {
        const auto engine = orvkit::index::openEngine(place, INDEX_CREATE, false);
        engine->connect(true)->execute("CREATE SCHEMA " + schema);
    } catch (const orvkit::index::Trouble& trouble) {
        fault_ = trouble.text;
    }
    return place;
}
