// Precompiled once and shared by every test program.
#pragma once

#include "Core.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
