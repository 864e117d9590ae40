#pragma once

#include <string>
#include <vector>

// What lies in folders, by the system's plain listing. In the order of the names; links are not
// followed.
// Errors     throws ToolErrors.
namespace DemoInventory {

// The files of one folder.
std::vector<std::string> filesIn(const std::string& folder);
// All files below it.
std::vector<std::string> filesBelow(const std::string& folder);
bool isEmpty(const std::string& folder);

}  // namespace DemoInventory
