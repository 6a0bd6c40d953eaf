// Threads that do the same until it is done.
#ifndef ORVKIT_SERVICES_CREW_H
#define ORVKIT_SERVICES_CREW_H

#include <cstddef>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace services {

// Calls `work` on so many threads, of which the caller is one, and comes back when all have. Where the system
// gives fewer, those do it all. `work` throws nothing on another thread.
template <typename Work>
void workTogether(std::size_t count, const Work& work) {
    struct Crew {
        std::vector<std::thread> others;
        Crew() = default;
        Crew(const Crew&) = delete;
        Crew& operator=(const Crew&) = delete;
        ~Crew() {
            for (std::thread& other : others) other.join();
        }
    } crew;
    try {
        crew.others.reserve(count);
        while (crew.others.size() + 1 < count) crew.others.emplace_back([&work] { work(); });
    } catch (const std::system_error&) {  // fewer do as well
    } catch (const std::bad_alloc&) {
    }
    work();
}

}  // namespace services

#endif
