// Host zoom/focus lock record shared with the PTZ side.
#ifndef PLATFORM_SENSORZOOMFOCUSPARAM_H
#define PLATFORM_SENSORZOOMFOCUSPARAM_H

class SensorZoomFocusParam {
public:
    SensorZoomFocusParam() : m_bLockZoomFocusEnable(false) {}

    bool getLockZoomFocusEnable() const { return m_bLockZoomFocusEnable; }
    void setLockZoomFocusEnable(bool p_bEnable) { m_bLockZoomFocusEnable = p_bEnable; }

private:
    bool m_bLockZoomFocusEnable;
};

#endif
