// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvane::bench {

void benchCount();
void benchDecode();
void benchHistogram();
void benchHistory();
void benchOpen();
void benchPicture();
void benchRender();
void benchSave();
void benchLasso();
void benchLaz();
void benchMask();
void benchStatistics();
void benchStore();
void benchWindow();
void benchWorkbench();

} // namespace corvane::bench
