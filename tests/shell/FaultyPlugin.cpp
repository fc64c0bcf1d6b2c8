// SPDX-License-Identifier: Apache-2.0
// A plug-in whose entry throws.
#include <stdexcept>

class VInitialization;

extern "C" bool CORV_API_2026_SEP_07__FaultyPlugin(VInitialization*) { throw std::runtime_error("out of ink"); }
