// The chip families that the engine tells apart.
#pragma once

/// Hardware base codes. Bit 0x2000 marks Qualcomm, bit 0x1000 Samsung; callers test these bits as
/// well as whole values. The values are also what Java's getHardwareBase() returns.
enum : int {
    HW_BASE_UNKNOWN = 0,
    HW_BASE_QCOM_8960 = 0x2001,
    HW_BASE_QCOM_8974 = 0x2002,  // and any other chip that calls itself "msm"
    HW_BASE_QCOM_89XX = 0x2003,
    HW_BASE_QCOM_8X26 = 0x2004,
    HW_BASE_QCOM_OTHER = 0x2100,
    HW_BASE_SEC = 0x1001,     // components named with upper-case ".SEC"
    HW_BASE_EXYNOS = 0x1002,  // components named ".exynos", or ".sec" in any other case
    HW_BASE_TARN = 0x4001,
};

/// Family bits of the codes above.
enum : int {
    HW_FAMILY_SAMSUNG = 0x1000,
    HW_FAMILY_QCOM = 0x2000,
};
