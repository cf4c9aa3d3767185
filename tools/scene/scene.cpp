// Scene: one numbering for the grids of all surfaces.

#include "tools/scene/scene.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace scene {

void Scene::Add(std::unique_ptr<Surface> surface) {
    first_grid_.push_back(first_grid_.back() + surface->GridCount());
    surfaces_.push_back(std::move(surface));
}

const Surface& Scene::Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const {
    // A surface without grids has the same first number as the next one; the last surface with that
    // number owns the grid.
    const auto behind = std::upper_bound(first_grid_.begin(), first_grid_.end(), grid);
    const auto index = static_cast<std::size_t>(std::distance(first_grid_.begin(), behind)) - 1;
    const Surface& surface = *surfaces_[index];
    surface.Dice(grid - first_grid_[index], micropolygons);
    return surface;
}

}  // namespace scene
