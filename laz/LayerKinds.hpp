// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/Colour.hpp"
#include "laz/ExtraBytes.hpp"
#include "laz/LayerCoder.hpp"
#include "laz/NearInfrared.hpp"
#include "laz/WavePacket.hpp"

namespace laz {

/// Points whose notes stay in the processor's cache while layer after layer follows them.
inline constexpr std::size_t PiecePoints = 1024;

/// The coder of a layer's kind: `Made<SomeLayer<Coder>>(arguments...)`.
template <class Coder, template <class> class Made, class... Arguments>
std::unique_ptr<LayerCoder<Coder>> makeLayer(LayerKind kind, Arguments&&... arguments) {
    const auto make = [&]<class Layer>(std::type_identity<Layer>) {
        return std::make_unique<Made<Layer>>(std::forward<Arguments>(arguments)...);
    };
    switch (kind) {
    case LayerKind::First: // has a class of its own
        break;
    case LayerKind::Height:
        return make(std::type_identity<HeightLayer<Coder>>());
    case LayerKind::Class:
        return make(std::type_identity<ClassLayer<Coder>>());
    case LayerKind::Flags:
        return make(std::type_identity<FlagsLayer<Coder>>());
    case LayerKind::Intensity:
        return make(std::type_identity<IntensityLayer<Coder>>());
    case LayerKind::Angle:
        return make(std::type_identity<AngleLayer<Coder>>());
    case LayerKind::User:
        return make(std::type_identity<UserLayer<Coder>>());
    case LayerKind::Source:
        return make(std::type_identity<SourceLayer<Coder>>());
    case LayerKind::Time:
        return make(std::type_identity<TimeLayer<Coder>>());
    case LayerKind::Colour:
        return make(std::type_identity<ColourLayer<Coder>>());
    case LayerKind::NearInfrared:
        return make(std::type_identity<NearInfraredLayer<Coder>>());
    case LayerKind::WavePacket:
        return make(std::type_identity<WavePacketLayer<Coder>>());
    case LayerKind::ExtraByte:
        return make(std::type_identity<ExtraByteLayer<Coder>>());
    }
    return nullptr;
}

} // namespace laz
