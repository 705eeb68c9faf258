// Host video module as the sensor module sees it: notifications and capability queries.
#ifndef PLATFORM_VIDEOSTREAMMODULE_H
#define PLATFORM_VIDEOSTREAMMODULE_H

#include <vector>

class AVStreamParam {
public:
    AVStreamParam() : m_nVideoEncoderType(0), m_nVideoWidth(0), m_nVideoHeight(0) {}
    AVStreamParam(int p_nEncoderType, int p_nWidth, int p_nHeight)
        : m_nVideoEncoderType(p_nEncoderType), m_nVideoWidth(p_nWidth), m_nVideoHeight(p_nHeight)
    {
    }

    int getVideoEncoderType() const { return m_nVideoEncoderType; }
    int getVideoWidth() const { return m_nVideoWidth; }
    int getVideoHeight() const { return m_nVideoHeight; }

private:
    int m_nVideoEncoderType;
    int m_nVideoWidth;
    int m_nVideoHeight;
};

class LimitedFramesWDRModeParam {
public:
    LimitedFramesWDRModeParam() : m_nLimitFramesModeId(-1), m_nLimitWdr(0) {}
    LimitedFramesWDRModeParam(int p_nModeId, int p_nLimitWdr) : m_nLimitFramesModeId(p_nModeId), m_nLimitWdr(p_nLimitWdr)
    {
    }

    int getLimitFramesModeId() const { return m_nLimitFramesModeId; }
    int getLimitWdr() const { return m_nLimitWdr; }
    void setLimitFramesModeId(int p_n) { m_nLimitFramesModeId = p_n; }
    void setLimitWdr(int p_n) { m_nLimitWdr = p_n; }

private:
    int m_nLimitFramesModeId;
    int m_nLimitWdr;
};

class VideoStreamModule {
public:
    virtual ~VideoStreamModule() {}

    // A sensor parameter changed; 0 means the video module accepted it.
    virtual int notifySensorParam(int p_nChannel, int p_nKey, int p_nValue) const = 0;
    virtual void getAVStreamParams(std::vector<AVStreamParam>& p_vecParams) const = 0;
    virtual void getLimitedFramesWDRModeParam(int p_nChannel, LimitedFramesWDRModeParam& p_objParam) const = 0;
    // Non-zero while the video pipeline is reconfiguring and not ready for a style request.
    virtual int getVideoBusyState() const = 0;
};

#endif
