#include "DataLayer/PointCloud/ISurfelRuns.h"

namespace DataLayer
{

// Here, so that there is one type information that casts in every library compare with.
ISurfelRuns::~ISurfelRuns() = default;

}  // namespace DataLayer
