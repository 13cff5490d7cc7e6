#include "bus_support/bus_fixture.hpp"
