// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvane::bench {

void benchDecode();
void benchOpen();
void benchSave();
void benchLasso();
void benchMask();

} // namespace corvane::bench
