// A hardware H.264 encoder component.
#pragma once

#include "omx/encoder_params.h"
#include "omx/qcom_omx_interface.h"

/// Raw frames go in through reserveInputBuffer() and sendInputBuffer(); the stream comes out through
/// the output callback, codec configuration first. Results are those of result_codes.h.
class QcomOmxInterfaceEncoder : public QcomOmxInterface {
  public:
    /// Makes the encoder, connects it and configures both ports, bit rate, rate control and, when
    /// asked, the frame pattern; the component is left in Loaded. `*encoder` is null on failure.
    static int Create(QcomOmxInterfaceEncoder** encoder, encoderParams* params);

    explicit QcomOmxInterfaceEncoder(int hardwareBase);
    ~QcomOmxInterfaceEncoder() override;

    /// Asks the component's bit rate on a port; Exynos components also get a unit size from it.
    /// 0, 13 or 14.
    int setupPortBitRate(int port, int bitRate, int width, int height, int hardwareBase);
    /// 0, 17 or 18.
    int setupRateControl(int controlRate, int bitRate);
    /// Sets the number of P frames between I frames, without B frames. 0, 17 or 33.
    int setupFrameControl(int iFrameInterval, int hardwareBase);
    /// Limits a NAL unit to 1500 bytes; Create() does not ask for it. 0 or 33.
    int setupNalSize();

    // Both for the time between init() and deInit(); any thread. They take effect at a later frame.
    /// 0 or 16.
    int requestIFrame();
    /// Bits a second. 0, 17 or 18.
    int updateBitRate(int bitRate);

  private:
    int configure(const encoderParams& params);
};
