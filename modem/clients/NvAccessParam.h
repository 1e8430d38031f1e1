/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <plim/SerialParam.h>

namespace com::vyr::plim::modem {

/**
 * One access to an NV item or to a file or directory of the modem's file system (EFS). The one
 * class serves both: its tag tells which, so that an NV handler refuses an EFS request and the
 * other way round. Carries bytes of any length; the handlers and the library judge them.
 */
class NvAccessParam : public SerialParam {
  public:
    inline static const std::string RTTI_TYPE{"NvAccessParam"};
    inline static const std::string EFS_TYPE{"EfsAccessParam"};

    enum class Kind { NV, EFS };

    /** `index` is 0 for EFS requests, which have none; `data` is empty for reads and deletes. */
    NvAccessParam(Kind kind, int32_t serial, int32_t nvId, uint8_t subId, uint8_t index,
                  const std::vector<uint8_t>& data = {})
        : SerialParam(serial), nvId(nvId), subId(subId), index(index), data(data) {
        // Last, so that the kind's tag is the one a handler tests.
        enableRtti(kind == Kind::NV ? RTTI_TYPE : EFS_TYPE);
    }
    ~NvAccessParam() override = default;

    const int32_t nvId;  // the EFS id for EFS requests
    const uint8_t subId;
    const uint8_t index;
    const std::vector<uint8_t> data;
};

}  // namespace com::vyr::plim::modem
