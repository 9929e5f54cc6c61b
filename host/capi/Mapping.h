// A caller's function as a coordinate mapping of the framework.
#pragma once

#include <atomic>
#include <vector>

#include "../Object.h"
#include "Interface.h"
#include "SmartPtr.h"
#include "vel.h"

// What the caller made; it does not change, so that several runs can use it.
struct vel_mapping {
    vel_mapping_function function;
    void* user;
    uint32_t batch;
    std::atomic<uint32_t> count{1};
};

namespace velcapi {

// One run's view of a caller's mapping: keeps the answers for the points that were asked ahead.
class RunMapping final : public velhost::Counted<RunMapping, ITransform> {
public:
    explicit RunMapping(const vel_mapping& mapping) : m_mapping(mapping), m_x(mapping.batch), m_y(mapping.batch) {}

    HRESULT QueryInterface(const IID& iid, void** object) override;
    // A point that the function failed for, and every later one, lies outside every image.
    HRESULT TransformPoint(double* x, double* y, double* z) override;
    // The function asked to stop.
    bool Stopped() const { return m_stopped; }

private:
    friend class velhost::Counted<RunMapping, ITransform>;
    ~RunMapping() = default;
    bool Ask(double x, double y, size_t points);

    const vel_mapping& m_mapping;
    std::vector<double> m_x, m_y;
    double m_firstX = 0, m_rowY = 0;  // position of the first kept point
    size_t m_kept = 0;
    bool m_stopped = false;
};

}  // namespace velcapi
