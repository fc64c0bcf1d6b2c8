// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/DecoderStream.hpp"
#include "laz/Point14.hpp"

namespace laz {

/// What a layer remembers, once for each channel of the scanner. One that is new begins with the last value of the
/// channel that is left. Items other than the point come in two versions: in the historic one, a program's error that
/// all files had then, the context of channel 0 is used from the second point after a change of channels on, and the
/// first one in a known context is predicted from, and remembered in, the context that was left.
template <class Layer>
class LayerContexts {
public:
    using Value = typename Layer::Value;

    LayerContexts(std::uint32_t channel, const Value& first, bool historic) : historic_(historic), now_(channel) {
        contexts_[now_] = std::make_unique<Context>(first);
        models_ = contexts_[now_].get();
        last_ = models_;
    }

    /// Goes to the context of the next point.
    void follow(const PointNote& note) {
        const std::uint32_t wanted = !historic_ || note.switched ? note.channel : 0u;
        last_ = models_;
        if (wanted != now_) [[unlikely]]
            change(wanted);
    }

    Layer& layer() { return models_->layer; }
    Value& last() { return last_->last; }

private:
    struct Context {
        explicit Context(const Value& first) : layer(first), last(first) {}
        Layer layer;
        Value last;
    };

    [[gnu::noinline]] void change(std::uint32_t wanted) {
        auto& context = contexts_[wanted];
        const bool known = context != nullptr;
        if (!known) context = std::make_unique<Context>(models_->last);
        if (!known || !historic_) last_ = context.get();
        models_ = context.get();
        now_ = wanted;
    }

    std::array<std::unique_ptr<Context>, point14::Channels> contexts_;
    bool historic_;
    std::uint32_t now_;
    Context* models_ = nullptr; // whose models are used
    Context* last_ = nullptr;   // whose last value is used
};

/// A layer other than the first, in either direction.
template <class Coder>
class LayerCoder {
public:
    virtual ~LayerCoder() = default;

    /// Codes the points of these notes. Returns how many are sound.
    virtual std::size_t code(std::span<const PointNote> notes, typename Coder::Byte* records, std::size_t stride) = 0;
};

/// Decodes a layer; one that was left out repeats the last value.
template <class Layer>
class LayerDecoder : public LayerCoder<Decoder> {
public:
    /// `stream` is null for a layer that was left out. It must outlive this.
    LayerDecoder(const laz::Layer& layer, const std::byte* first, DecoderStream* stream)
        : item_(layer.item),
          contexts_(point14::channel(first), Layer::load(first + layer.item), layer.historic),
          stream_(stream) {}

    std::size_t code(std::span<const PointNote> notes, std::byte* records, std::size_t stride) override {
        return stream_ ? decode(notes, records + item_, stride) : repeat(notes, records + item_, stride);
    }

private:
    std::size_t decode(std::span<const PointNote> notes, std::byte* item, std::size_t stride) {
        Decoder& decoder = stream_->withBytes(notes.size() * MostBytesOfPoint);
        Decoder local = decoder;
        std::size_t sound = 0;
        for (const PointNote& note : notes) {
            contexts_.follow(note);
            auto& last = contexts_.last();
            last = contexts_.layer().code(local, last, {}, note);
            Layer::store(item, last);
            if (local.damaged()) [[unlikely]]
                break;
            item += stride;
            ++sound;
        }
        decoder = local;
        return sound;
    }

    std::size_t repeat(std::span<const PointNote> notes, std::byte* item, std::size_t stride) {
        for (const PointNote& note : notes) {
            contexts_.follow(note);
            Layer::store(item, contexts_.last());
            item += stride;
        }
        return notes.size();
    }

    static constexpr std::size_t MostBytesOfPoint = 64;

    std::size_t item_;
    LayerContexts<Layer> contexts_;
    DecoderStream* stream_;
};

template <class Layer>
class LayerEncoder : public LayerCoder<Encoder> {
public:
    /// The stream's bytes go into `bytes`, which must outlive this; `told` becomes true when the layer tells anything.
    LayerEncoder(const laz::Layer& layer, const std::byte* first, Encoder& encoder, bool& told)
        : item_(layer.item),
          contexts_(point14::channel(first), Layer::load(first + layer.item), layer.historic),
          encoder_(&encoder),
          told_(&told) {}

    std::size_t code(std::span<const PointNote> notes, const std::byte* records, std::size_t stride) override {
        const std::byte* item = records + item_;
        bool told = *told_;
        for (const PointNote& note : notes) {
            contexts_.follow(note);
            auto& last = contexts_.last();
            const auto now = Layer::load(item);
            told |= Layer::tells(last, now);
            contexts_.layer().code(*encoder_, last, now, note);
            last = now;
            item += stride;
        }
        *told_ = told;
        return notes.size();
    }

private:
    std::size_t item_;
    LayerContexts<Layer> contexts_;
    Encoder* encoder_;
    bool* told_;
};

} // namespace laz
