// A PostgreSQL server for the tests of a run: started with the first that asks, ended with the program.
#ifndef ORVKIT_TESTS_INDEX_SERVER_H
#define ORVKIT_TESTS_INDEX_SERVER_H

#include <string>

class PostgresqlServer {
  public:
    static PostgresqlServer& get();
    PostgresqlServer(const PostgresqlServer&) = delete;
    PostgresqlServer& operator=(const PostgresqlServer&) = delete;
    ~PostgresqlServer();

    // Why there is none, or "".
    const std::string& fault() const { return fault_; }
    // A place where nothing is.
    std::string newPlace();
    void crash() const { tell("crash"); }
    void startAgain() const { tell("again"); }

  private:
    PostgresqlServer();
    void tell(const std::string& what) const;

    std::string directory_;
    std::string fault_;
    void* pipe_ = nullptr;
    int places_ = 0;
};

#endif
