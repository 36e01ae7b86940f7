// identity_store.h (device) - what the identity exchanges learned. The supervisor may write it
// while the application copies it. A lock of its own (a leaf) keeps records whole, so that a getter
// need not wait for an exchange.
#pragma once

#include "device/packets.h"
#include "zeka/zeka.h"

namespace zeka {
void StoreModel(const MODEL_INFORMATION& model);
void StoreHardware(const ZEKA_HW_INFORMATION& hardware);
void StoreInformationPage(const Block& information);
[[nodiscard]] MODEL_INFORMATION LoadModel();
[[nodiscard]] ZEKA_HW_INFORMATION LoadHardware();
} // namespace zeka
