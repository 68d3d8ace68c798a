// A hardware H.264 decoder component.
#pragma once

#include "omx/decoder_params.h"
#include "omx/qcom_omx_event_interface.h"

/// Packets go in through sendInputData() and sendEndOfInputFlag(); pictures come out through the output
/// callback. Results are those of result_codes.h unless said otherwise. After a change of the pictures'
/// size the first outputs are dropped.
class QcomOmxInterfaceDecoder : public QcomOmxEventInterface {
  public:
    /// Makes the decoder and connects it; a Qualcomm one is told to give pictures in decoding order. The
    /// ports are left as the component proposes them. `*decoder` is null on failure.
    static int Create(QcomOmxInterfaceDecoder** decoder, decoderParams* params);

    explicit QcomOmxInterfaceDecoder(int hardwareBase);
    ~QcomOmxInterfaceDecoder() override;

    // Vendor settings, for the time before init().
    /// 0: pictures come in display order, 1: in decoding order, without delay. 0 or 30.
    int setPictureOrder(int order);
    /// How packets are cut: 1 anywhere, 2 a whole picture each, else as the component likes. 0 or 31.
    int setInputPackingFormat(int format);
    /// 0 H.264, 1 MPEG-4, 2 H.263, 3 WMV, else the component's own. 0 or -1.
    int setInputCompressionFormat(int format);
    /// Asks for 15 buffers on the output port; reads and writes back the input port's. 0, 13 or 14.
    int setupPortDef(int port);

  protected:
    bool teardownEndsEvents() const override { return true; }
    /// Keeps the size of the pictures to come, for the decode driver.
    void adoptOutput(const OMX_PARAM_PORTDEFINITIONTYPE& definition) override;
    int repopulatePort(int port) override;
};
