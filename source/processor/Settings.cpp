// SPDX-License-Identifier: AGPL-3.0-only
#include "Settings.h"

#include "Files.h"
#include "SafeXml.h"
#include "Text.h"
#include "processor/Product.h"

namespace varnel
{

namespace
{

/** Whether there is a place for anybody's settings. A process that has been started without HOME, a daemon perhaps, is
    nobody's session: it must not end up in a home folder that the password file names. */
bool hasHome()
{
#if JUCE_LINUX || JUCE_BSD
    return juce::SystemStats::getEnvironmentVariable ("HOME", {}).isNotEmpty();
#else
    return true;
#endif
}

#if JUCE_WINDOWS
const juce::File nowhere { "C:\\nonexistent" };
#else
const juce::File nowhere { "/nonexistent" };
#endif

juce::String settingsFolder (const juce::File& parent)
{
    return parent.getChildFile ("Application Support").getChildFile (product::folder).getFullPathName();
}

/** Whether JUCE can write an element on one line, as it does with one that it finds within a setting: for an element that
    follows text it looks for a line's end that it does not have. */
bool fitsOneLine (const juce::XmlElement& element)
{
    auto isBehindText = false;

    for (const auto* child : element.getChildIterator())
    {
        if (isBehindText && ! child->isTextElement())
            return false;

        if (! fitsOneLine (*child))
            return false;

        isBehindText = child->isTextElement();
    }

    return true;
}

/** Whether JUCE reads a file as XML settings, and without danger. It reads twice: the first bytes, for the name of the
    root, and then all of it. */
bool isSettingsFile (const juce::File& file)
{
    constexpr size_t firstBytes = 8192;
    const auto bytes = startOf (file, longestXml + 1);

    if (! bytes)
        return false;

    const auto* const start = static_cast<const char*> (bytes->getData());
    const auto isUtf16 = bytes->getSize() >= 2 && (juce::CharPointer_UTF16::isByteOrderMarkBigEndian (start) || juce::CharPointer_UTF16::isByteOrderMarkLittleEndian (start));

    if (isUtf16 ? bytes->getSize() > firstBytes : ! isUtf8 (start, bytes->getSize()))
        return false;

    const auto text = textOfFile (*bytes);

    // JUCE makes characters that are none of UTF-16's pairs, and of their halves; what it then saved could not be read again.
    for (auto character = text.getCharPointer(); isUtf16 && ! character.isEmpty(); ++character)
        if (*character >= 0x10000 || *character == replacementCharacter)
            return false;

    // The first bytes end anywhere, perhaps within a character or its number: the root has to be in front of that.
    constexpr size_t longestMark = 3;
    const auto xml = parseSafely (text);
    return xml.root != nullptr && fitsOneLine (*xml.root) && xml.endOfRootTag + longestMark <= firstBytes && juce::parseXMLIfTagMatches (file, "PROPERTIES") != nullptr;
}

bool putAside (const juce::File& file)
{
    return isRegularFile (file) && moveAside (file, file.getFileName() + ".unreadable");
}

} // namespace

juce::PropertiesFile::Options settingsStorage (bool save)
{
    juce::PropertiesFile::Options options;
    options.applicationName = product::name;
    options.filenameSuffix = ".settings";
    options.folderName = settingsFolder (hasHome() ? juce::File::getSpecialLocation (juce::File::userApplicationDataDirectory) : nowhere);
    options.osxLibrarySubFolder = "Application Support";
    options.commonToAllUsers = false;
    options.ignoreCaseOfKeyNames = false;
    options.doNotSave = ! (save && hasHome());
    options.millisecondsBeforeSaving = 3000;
    options.storageFormat = juce::PropertiesFile::storeAsXML;
    options.processLock = nullptr;
    return options;
}

juce::PropertiesFile::Options checkedStorage (juce::PropertiesFile::Options storage)
{
    const auto file = storage.getDefaultFile();

    // Another instance may have put it aside in the meantime.
    if (! file.exists() || isSettingsFile (file) || (! storage.doNotSave && putAside (file)) || ! file.exists())
        return storage;

    storage.folderName = settingsFolder (nowhere);
    storage.doNotSave = true;
    return storage;
}

} // namespace varnel
