// Things that are dear to make, kept for whoever needs one next, on whatever thread.
//
// An object of a thread's own would do the same, but its end has to be noted when the thread first touches
// it, and where there is no memory for that, the C library aborts the program.
#ifndef ORVKIT_FOUNDATION_SPARES_H
#define ORVKIT_FOUNDATION_SPARES_H

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace orvkit {

template <typename Thing>
class Spares {
  public:
    // Comes back when it is no longer used.
    class Lent {
      public:
        Lent(Spares& owner, std::unique_ptr<Thing> thing) noexcept
            : owner_(owner), thing_(std::move(thing)) {}
        Lent(Lent&&) noexcept = default;
        Lent& operator=(Lent&&) = delete;
        ~Lent() { owner_.keep(std::move(thing_)); }

        Thing* get() const noexcept { return thing_.get(); }
        Thing& operator*() const noexcept { return *thing_; }
        Thing* operator->() const noexcept { return thing_.get(); }

      private:
        Spares& owner_;
        std::unique_ptr<Thing> thing_;
    };

    constexpr Spares() noexcept = default;
    Spares(const Spares&) = delete;
    Spares& operator=(const Spares&) = delete;
    ~Spares() {
        for (auto& place : kept_) delete place.exchange(nullptr);
    }

    // One that was kept, or what `make` gives: a std::unique_ptr, which may be null.
    template <typename Make>
    Lent lend(Make make) {
        for (auto& place : kept_) {
            if (Thing* const thing = place.exchange(nullptr)) return {*this, std::unique_ptr<Thing>(thing)};
        }
        return {*this, make()};
    }

  private:
    static constexpr std::size_t kMost = 8;  // more at once are not kept

    void keep(std::unique_ptr<Thing> thing) noexcept {
        for (auto& place : kept_) {
            Thing* nothing = nullptr;
            if (thing == nullptr) return;
            if (place.compare_exchange_strong(nothing, thing.get())) (void)thing.release();
        }
    }

    std::array<std::atomic<Thing*>, kMost> kept_{};
};

}  // namespace orvkit

#endif
