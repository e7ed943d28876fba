#include "PackageRequestCombination.h"

PackageRequestCombination::PackageRequestCombination() = default;

PackageRequestCombination::~PackageRequestCombination() = default;
