// What an operation keeps from one call to the next, for calls of several threads.
//
// Calls that follow one another have the same state, whatever their threads. A call
// that starts while others run takes another one, so that no call waits, and the
// state of the call that ends last is the one that the next call goes on with.
// States change hands by exchanging pointers: there is no lock that a fork of the
// process could leave behind.
#ifndef ZYLQX_TRANSFORM_KEPT_STATE_H
#define ZYLQX_TRANSFORM_KEPT_STATE_H

#include <atomic>
#include <new>

#include "core/memory.h"

namespace zylqx {

// State::release() frees its memory and leaves a state to be used again. The
// destructor does nothing, so that a thread that outlives main() may still call.
template <class State>
class KeptState {
  public:
    constexpr KeptState() = default;

    // Takes a state that no other call has; null when memory is exhausted.
    // `continued` tells whether it is that of the call before.
    State *take(bool &continued) {
        State *state = last_.exchange(nullptr, std::memory_order_acquire);
        continued = state != nullptr;
        for (int i = 0; state == nullptr && i < SPARE; ++i) state = takeFrom(spare_[i]);
        if (state != nullptr) return state;
        void *memory = allocateBlock(sizeof(State));
        return memory != nullptr ? new (memory) State : nullptr;
    }

    void giveBack(State *state) {
        State *before = last_.exchange(state, std::memory_order_acq_rel);
        if (before == nullptr) return;
        for (std::atomic<State *> &spare : spare_) {
            State *none = nullptr;
            if (spare.compare_exchange_strong(none, before, std::memory_order_acq_rel)) return;
        }
        destroy(before);
    }

    // Frees what calls that have ended left.
    void release() {
        releaseSpare();
        if (State *state = takeFrom(last_)) {
            state->release();
            giveBack(state);
        }
    }
    // The same without the state that the next call goes on with.
    void releaseSpare() {
        for (std::atomic<State *> &spare : spare_) {
            if (State *state = takeFrom(spare)) destroy(state);
        }
    }
    void destroyAll() {
        releaseSpare();
        if (State *state = takeFrom(last_)) destroy(state);
    }

  private:
    // Calls at the same time whose memory is kept, beyond one.
    static constexpr int SPARE = 15;

    // The state of a program without threads needs no memory of its own.
    union First {
        State state;
        constexpr First() : state() {}
        ~First() {}
    };

    static State *takeFrom(std::atomic<State *> &slot) {
        if (slot.load(std::memory_order_relaxed) == nullptr) return nullptr;
        return slot.exchange(nullptr, std::memory_order_acquire);
    }

    void destroy(State *state) {
        state->~State();
        if (state != &first_.state) freeBlock(state);
    }

    First first_;
    std::atomic<State *> last_ = &first_.state;
    std::atomic<State *> spare_[SPARE] = {};
};

// Destroys what is kept when the program ends or the library is unloaded, but for
// the states of calls that still run.
template <class State>
struct DestroyedAtExit {
    KeptState<State> &kept;
    ~DestroyedAtExit() { kept.destroyAll(); }
};

// A state for as long as a call needs it.
template <class State>
class StateLease {
  public:
    explicit StateLease(KeptState<State> &kept) : kept_(kept), state_(kept.take(continued_)) {}
    StateLease(const StateLease &) = delete;
    StateLease &operator=(const StateLease &) = delete;
    ~StateLease() {
        if (state_ != nullptr) kept_.giveBack(state_);
    }

    // False when memory is exhausted.
    explicit operator bool() const { return state_ != nullptr; }
    State *operator->() const { return state_; }
    State &operator*() const { return *state_; }
    bool continued() const { return continued_; }

  private:
    KeptState<State> &kept_;
    bool continued_ = false;
    State *state_;
};

} // namespace zylqx

#endif
