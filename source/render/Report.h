// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Renderer.h"

#include <nlohmann/json.hpp>

namespace varnel
{

/** Objects whose members keep their order. */
using Json = nlohmann::ordered_json;

/** What is printed of a sound that was made: one line. */
std::string summaryLine (const Job& job, const RenderSummary& summary);

/** All of it, and the values used. */
Json summaryObject (const Job& job, const RenderSummary& summary);

/** A name, as text where it is UTF-8 and else as its bytes, so that it can be had back. */
Json jsonOf (const std::filesystem::path& path);
std::filesystem::path pathOf (const Json& json);

/** Each parameter's value under its ID. */
Json jsonOf (const ParameterValues& values);

/** Each parameter's value, a line each. */
std::string valueList (const ParameterValues& values);

/** The table of parameters. */
Json parametersObject();

/** JSON on one line; bytes that are no text become a question mark in a diamond. */
std::string lineOf (const Json& json);

} // namespace varnel
