// Any bytes make a story, which a notifier and slow models of the rules are told: rules are added, changed, refused and
// removed, and frames come, at any time. All that is then to be seen and heard is the same.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "tests/stories/story.hpp"

using namespace qel::tests;

namespace {

/// Choices as the bytes have them. The end of the bytes chooses 0 and no, with which a story soon ends.
class Bytes : public Choices {
public:
    Bytes(std::uint8_t const* data, std::size_t size) : at(data), end(data + size) {}

    std::size_t Below(std::size_t count) override {
        std::size_t number = 0;
        for (std::size_t reach = 1; reach < count; reach *= 256) {
            number = number * 256 + (at == end ? 0 : *at++);
        }
        return number % count;
    }
    bool OneIn(std::size_t count) override { return Below(count) + 1 == count; }

private:
    std::uint8_t const* at;
    std::uint8_t const* const end;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static constexpr std::array Tellers{TellOfNotifier, TellOfCombinators, TellOfTime};
    Bytes bytes(data, size);
    auto const telling = Tellers[bytes.Below(Tellers.size())](bytes);
    if (!telling.difference.empty()) {
        std::cerr << telling.difference << '\n';
        std::abort();
    }
    return 0;
}
