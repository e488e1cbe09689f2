#pragma once

#include <glm/vec3.hpp>

namespace orvcore {

/// Named vector constants.
struct VEC3 {
    static inline const glm::vec3 ZERO{0.0f, 0.0f, 0.0f};
    static inline const glm::vec3 UNIT_X{1.0f, 0.0f, 0.0f};
    static inline const glm::vec3 UNIT_Y{0.0f, 1.0f, 0.0f};
    static inline const glm::vec3 UNIT_Z{0.0f, 0.0f, 1.0f};
    static inline const glm::vec3 NEGATIVE_UNIT_X{-1.0f, 0.0f, 0.0f};
    static inline const glm::vec3 NEGATIVE_UNIT_Y{0.0f, -1.0f, 0.0f};
    static inline const glm::vec3 NEGATIVE_UNIT_Z{0.0f, 0.0f, -1.0f};
    static inline const glm::vec3 UNIT_SCALE{1.0f, 1.0f, 1.0f};
};

} // namespace orvcore
