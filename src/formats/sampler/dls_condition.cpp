#include "formats/sampler/dls_condition.h"

#include <cstdint>
#include <optional>
#include <vector>

#include "base/byte_reader.h"

namespace velor {

namespace {

// What we answer to the queries of DLS level 2, by the first four bytes of their ids. Not among them are the
// GM, GS and XG hardware, the maker and the product: we are none of these.
std::optional<std::uint32_t> answer(std::uint32_t query) {
    switch (query) {
        case 0x178F2F27:  // plays level 1
        case 0xF14599E5:  // plays level 2
            return 1;
        case 0x178F2F28:  // bytes of sample memory
            return UINT32_MAX;
        case 0x2A91F713:  // highest sample rate, Hz
            return 192000;
        default:
            return std::nullopt;
    }
}

std::uint32_t compute(std::uint16_t operation, std::uint32_t a, std::uint32_t b) {
    switch (operation) {
        case 0x1:
            return a & b;
        case 0x2:
            return a | b;
        case 0x3:
            return a ^ b;
        case 0x4:
            return a + b;
        case 0x5:
            return a - b;
        case 0x6:
            return a * b;
        case 0x7:
            return b ? a / b : 0;
        case 0x8:
            return a && b;
        case 0x9:
            return a || b;
        case 0xA:
            return a < b;
        case 0xB:
            return a <= b;
        case 0xC:
            return a > b;
        case 0xD:
            return a >= b;
        default:
            return a == b;
    }
}

}  // namespace

bool evaluateDlsCondition(std::span<const Byte> chunk) {
    constexpr std::uint16_t kNot = 0xF, kConstant = 0x10, kQuery = 0x11, kQuerySupported = 0x12;
    std::vector<std::uint32_t> stack;
    ByteReader reader(chunk);
    const auto pop = [&stack] {
        const std::uint32_t top = stack.back();
        stack.pop_back();
        return top;
    };
    while (reader.remaining() >= 2) {
        const std::uint16_t operation = reader.u16();
        if (operation == kConstant) {
            stack.push_back(reader.u32());
        } else if (operation == kQuery || operation == kQuerySupported) {
            const auto value = answer(reader.u32());
            reader.bytes(12);
            stack.push_back(operation == kQuery ? value.value_or(0) : std::uint32_t{value.has_value()});
        } else if (operation == kNot) {
            if (stack.empty())
                return true;
            stack.back() = !stack.back();
        } else if (operation >= 0x1 && operation <= 0xE) {
            if (stack.size() < 2)
                return true;
            // The first operand is the one on top.
            const std::uint32_t a = pop(), b = pop();
            stack.push_back(compute(operation, a, b));
        } else {
            return true;
        }
        if (!reader.ok())
            return true;
    }
    return stack.empty() || stack.back() != 0;
}

}  // namespace velor
