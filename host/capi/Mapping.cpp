#include "Mapping.h"

#include "Internal.h"

namespace velcapi {

// Rows are asked for in whole steps, so the point at (x, y) is number x - m_firstX of row m_rowY.
HRESULT RunMapping::TransformPoint(double* x, double* y, double* /*z*/) {
    double at = *x - m_firstX;
    const bool kept = m_kept != 0 && *y == m_rowY && at >= 0 && at < static_cast<double>(m_kept) &&
                      at == static_cast<double>(static_cast<size_t>(at));
    if (!kept && !m_stopped) {
        m_stopped = !Ask(*x, *y, m_x.size());
        at = 0;
    }
    if (m_stopped) {
        *x = *y = -1e6;
        return E_FAIL;
    }
    *x = m_x[static_cast<size_t>(at)];
    *y = m_y[static_cast<size_t>(at)];
    return S_OK;
}

bool RunMapping::Ask(double x, double y, size_t points) {
    m_firstX = x;
    m_rowY = y;
    for (size_t i = 0; i < points; ++i) {
        m_x[i] = x + static_cast<double>(i);
        m_y[i] = y;
    }
    m_kept = m_mapping.function(m_mapping.user, m_x.data(), m_y.data(), points) == 0 ? points : 0;
    return m_kept != 0;
}

HRESULT RunMapping::QueryInterface(const IID& iid, void** object) {
    *object = nullptr;
    if (iid == IID_IUnknown) {
        *object = static_cast<ITransform*>(this);
        AddRef();
        return S_OK;
    }
    VELHOST_ANSWER(ITransform)
    return E_NOINTERFACE;
}

}  // namespace velcapi

using namespace velcapi;

vel_result vel_mapping_create(vel_mapping_function function, void* user, uint32_t batch, vel_mapping** mapping) {
    return Guard([&] {
        *Needed(mapping, "mapping") = nullptr;
        if (!function) Refuse("function is null");
        if (batch < 1 || batch > 65535) Refuse("batch must be 1 to 65535");
        *mapping = new vel_mapping{function, user, batch};
        return VEL_OK;
    });
}

void vel_mapping_retain(vel_mapping* mapping) {
    if (mapping) mapping->count.fetch_add(1, std::memory_order_relaxed);
}

void vel_mapping_release(vel_mapping* mapping) {
    if (mapping && mapping->count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete mapping;
}
