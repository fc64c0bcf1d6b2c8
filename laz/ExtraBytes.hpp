// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/IntegerCoder.hpp"
#include "laz/Record.hpp"

#include <vector>

namespace laz {

/// Bytes of whatever meaning, version 2: by how much each changed.
template <class Coder>
class ExtraBytes {
public:
    ExtraBytes(const std::byte* first, std::size_t count) : last_(first, first + count), steps_(count) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        for (std::size_t i = 0; i < last_.size(); ++i) {
            const auto last = std::to_integer<std::uint32_t>(last_[i]);
            steps_[i].ensure();
            const std::uint32_t step =
                coder.symbol(steps_[i], Coder::Encodes ? (std::to_integer<std::uint32_t>(item[i]) - last) & 0xFF : 0);
            last_[i] = std::byte(last + step);
            if constexpr (!Coder::Encodes) item[i] = last_[i];
        }
    }

private:
    std::vector<std::byte> last_;
    std::vector<typename Coder::template Model<256>> steps_;
};

/// Version 1, of early files. The models belong to a context for each byte.
template <class Coder>
class ExtraBytesVersion1 {
public:
    ExtraBytesVersion1(const std::byte* first, std::size_t count) : last_(first, first + count), lengths_(count) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        for (std::size_t i = 0; i < last_.size(); ++i) {
            const auto real = Coder::Encodes ? std::to_integer<std::int32_t>(item[i]) : 0;
            last_[i] = std::byte(steps_.code(coder, std::to_integer<std::int32_t>(last_[i]), lengths_[i], real));
            if constexpr (!Coder::Encodes) item[i] = last_[i];
        }
    }

private:
    using Steps = IntegerCoder<Coder, 8, 0>;

    std::vector<std::byte> last_;
    std::vector<typename Steps::Lengths> lengths_;
    Steps steps_;
};

/// The layer of one byte in formats 6 to 10.
template <class Coder>
class ExtraByteLayer {
public:
    using Value = std::uint8_t;

    explicit ExtraByteLayer(Value) {}
    static Value load(const std::byte* place) { return get<Value>(place); }
    static void store(std::byte* place, Value value) { put(place, value); }
    static bool tells(Value last, Value now) { return now != last; }

    template <class Note>
    Value code(Coder& coder, Value last, Value now, const Note&) {
        steps_.ensure();
        return static_cast<Value>(last + coder.symbol(steps_, static_cast<Value>(now - last)));
    }

private:
    typename Coder::template Model<256> steps_;
};

} // namespace laz
