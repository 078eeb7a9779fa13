// simulator/linux/not_here.h: what stands in an import's slot when Linux has nothing like it.
#pragma once

#include <windows.h>

#include <type_traits>

namespace kelvane::native {

template<class Result, class... Arguments>
using Function = Result (*)(Arguments...);

// A function of any type that sets the last error to 120 and returns `answer`.
template<std::intptr_t answer>
struct NotHere {
    template<class Result, class... Arguments>
    constexpr operator Function<Result, Arguments...>() const
    {
        return [](Arguments...) {
            SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
            if constexpr (std::is_pointer_v<Result>) {
                return Result{};
            } else {
                return static_cast<Result>(answer);
            }
        };
    }
};

constexpr NotHere<0> null;  // also FALSE
constexpr NotHere<ERROR_CALL_NOT_IMPLEMENTED> refused;

}  // namespace kelvane::native
