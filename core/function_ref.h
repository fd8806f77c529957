// A callable that is referred to for the length of a call, as std::function without
// memory: what a walk that is no template hands its pieces to.
#ifndef ZYLQX_CORE_FUNCTION_REF_H
#define ZYLQX_CORE_FUNCTION_REF_H

#include <type_traits>

namespace zylqx {

template <class Signature>
class FunctionRef;

// With a result of bool, a callable that returns nothing counts as returning true.
template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
  public:
    template <class F>
    requires(!std::is_same_v<std::remove_const_t<F>, FunctionRef>) FunctionRef(F &function)
        : function_(const_cast<void *>(static_cast<const void *>(&function))),
          call_([](void *callable, Arguments... arguments) -> Result {
              F &self = *static_cast<F *>(callable);
              using Returned = decltype(self(arguments...));
              if constexpr (std::is_void_v<Returned> && std::is_same_v<Result, bool>) {
                  self(arguments...);
                  return true;
              } else {
                  return self(arguments...);
              }
          }) {}

    Result operator()(Arguments... arguments) const { return call_(function_, arguments...); }

  private:
    void *function_;
    Result (*call_)(void *, Arguments...);
};

} // namespace zylqx

#endif
