// SPDX-License-Identifier: Apache-2.0
// What most of the tool includes and nobody here changes, compiled once. A build without
// precompiled headers takes each file's own includes, so that none comes to depend on this list.
#pragma once

#include <json/json.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>
