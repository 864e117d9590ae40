#pragma once

#include <cstdint>

#include "fsys/DriveId.h"
#include "fsys/Export.h"
#include "fsys/MaterialFilename.h"
#include "fsys/MediaDrive.h"
#include "fsys/VolumeInfo.h"
#include "platform/LightweightString.h"
#include "platform/Notifier.h"
#include "platform/QvPtr.h"
#include "platform/QvResult.h"
#include "platform/Shutdown.h"
#include "platform/Vector.h"

// DiskManager: the process-wide registry of media drives.
// Story      init finds the drives that carry a writable "Material" folder, takes out those that
//            the user unmounted, and adds the locations that he registered. From then on locations
//            come and go, and everybody asks here which drive an identifier, a name or a path
//            means, where the next recording goes and how long it can go on. The catalogue is told
//            of every drive that comes or goes.
// Threads    look-ups: any thread, while another changes the registry; they see the drives before a
//            change or after it, and take no lock but for the names of drives, each its own. Not so
//            getDriveWithUniqueId and getMediaDrive: their references must not be used while
//            another thread changes the registry. Changes (everything that is no look-up) must not
//            run at once. Notifications are delivered on the thread that makes the change.
// Ownership  shares its drives.
// Units      mebibytes as doubles for space, minutes for recording time.
// Waits      a drive that may fall silent is waited for 500 ms when it is asked something, 1500 ms
//            when a text file on it is read or saved or a folder made; after that not at all until
//            what it was asked has ended. Where nothing is said of waiting, nothing is waited for.
// Errors     boolean results and QvResult; a list that cannot be read or written is logged, kept as
//            it is on the disk, and the registry goes on with what it knows. Identifiers end at
//            0xFF: a location beyond is refused, and its line stays. '0' is no drive.
// States     uninitialised (empty) -> init -> running; deInit and the shutdown empty it.
// Kept       getVolume(path) knows a path only with its trailing separator
//            (DiskManagerLookUpTest.AVolumesPathEndsInASeparatorAndItsCaseCounts), so that one
//            without it is registered again
//            (DiskManagerLocationsTest.APathWithoutItsTrailingSeparatorIsRegisteredAgain).
//            UNC names are matched by their beginning alone
//            (DiskManagerSharesTest.OnlyTheBeginningIsComparedAndTheFirstDriveWins); a drive
//            without one takes every name
//            (DiskManagerSharesTest.ADriveWithoutANetworkNameTakesEveryNameThatIsNotEmpty). The
//            unmounted list is read with a 16-bit counter
//            (DiskManagerUnmountedTest.OfMoreThan65535LinesTheRestIsNotSeenButStays). findBestDrive
//            books the space that it gives away
//            (DiskManagerTaskTest.TheBestFitIsTheLeastSpaceThatExceedsTheNeedAndItIsBooked).
//            isVolumeWritable takes the identifier for a drive letter
//            (DiskManagerPreparationTest.AnIdentifierIsTakenForADriveLetter). A failed location is
//            told to the catalogue as drive '0'
//            (DiskManagerLocationsTest.OfALocationThatFailsTheCatalogueHearsAsDrive0). A path that
//            is empty or has a line's end in it is no location, such a name no name
//            (DiskManagerLocationsTest.APathThatIsNoneIsRefusedAndNothingIsWrittenOrTold,
//            DiskManagerNamesTest.ANameThatIsNoLineIsRefusedAndNothingChanges). A location that was
//            away and is added again is listed again
//            (DiskManagerLocationsTest.ALocationThatWasAwayAndIsAddedAgainIsListedAgain). A drive
//            that comes back takes all its equal lines out of the unmounted list
//            (DiskManagerLocationsTest.ADriveThatComesBackLeavesTheListAndCountsAsDiscovered).
//            Removal finds a line also as it is once doubled backslashes are read as one
//            (DiskManagerBackslashTest.ALineWithDoubledOnesIsFoundWhenItsLocationGoes). The root of
//            all has no location; lists have a separator for it
//            (DiskManagerLocationsTest.TheDiscoveredRootOfAllThatIsTakenOutStaysOutUntilItIsAdded).
//            A disk whose folder has a backslash in its name is not discovered, and logged: a
//            location's backslashes are read as separators, so that it would be another place
//            (DiskManagerDiscoveryTest.ADiskWhoseFolderHasABackslashIsSkippedAndLogged).
//            A file is no location, whoever may write it
//            (DiskManagerLocationsTest.AFileIsRefusedAsALocationThatIsNotThere). Of a drive that is
//            not registered no information file is read
//            (DiskManagerDiskNameTest.NothingIsReadOfADriveThatIsNotRegistered). The shares are
//            asked for again after there was no memory for them
//            (VolumeRegistryTest.RefusedSharesAreAskedForByTheNextOne).
//            A task that remembers nothing has the empty path, which is that of the root of all
//            (DiskManagerTaskTest.TheDriveAtTheRootIsTheOneOfATaskThatRemembersNothing).
//            saveDriveInfo answers true when the writing failed
//            (DiskManagerPreparationTest.ASaveThatFailsIsSaidAndTheAnswerIsStillTrue).
class FSYS_EXPORT DiskManager {
public:
  using Text = LightweightString<wchar_t>;
  // The rules of findBestDrive.
  enum Match : int { eBestFit = 0, eMostFree = 1 };

  // Life cycle.

  // Empties the registry, discovers disks unless told not to, leaves out those that are unmounted,
  // adds the locations of the list in that folder, and reads the space. The catalogue hears of each
  // drive, the listeners once that the locations changed. Waits as discoverVolumes, 1500 ms for
  // each list, and for each location as addDriveForMediaLocation.
  static void init(const Text& projectSpace, bool noDiscovery = false);
  // Empties the registry, begins the identifiers anew and discovers disks. The lists are not
  // touched.
  static void reInit(bool noDiscovery = false);
  // Lets every drive go, and tells nobody.
  static void deInit();
  // Of an orderly exit: deInit.
  static void DiskManagerShutdown(Shutdown::eExitType type);

  // Registration.

  // Registers the fixed disks with a writable "Material" folder; of one that is registered already
  // a check fails, and it is read anew. Each gets the name that it carries and its space, then the
  // catalogue hears of it. False when the system lists no disk. Waits 500 ms for all disks
  // together, and for one that falls silent later as long as for a question or a file.
  static bool discoverVolumes();
  // Registers that path, or finds it registered (a check fails), marks it and reads its space.
  // False and `id` untouched when it is no folder, cannot be written, or no identifier is left.
  // Nobody is told. Waits 500 ms for a silent drive.
  static bool addMaterialVolume(const Text& path, DriveId& id, bool autoDiscovered);
  // addMaterialVolume, then the name: the one on the disk, else the last part of the path. The
  // catalogue is told of the drive, or of '0' after a failure. False then, and for an empty path,
  // of which nobody is told. Waits 500 ms for a silent drive; 1500 ms for its name when it falls
  // silent after the first question.
  static bool addDriveForMediaLocation(const Text& path, bool autoDiscovered);
  // Adds the locations in the lines of that file that are not registered. Those that cannot be
  // added are logged and missing, and their lines stay. Then the listeners are told. True.
  static bool addDrivesFromFile(const Text& file);
  // Takes the path out of the unmounted list or, if it is not there, appends it to the locations;
  // saves that; registers it; tells the listeners. True, also when the list could not be saved or
  // the drive not registered. False, and nothing written or told, for a path that is registered in
  // any case, or that is none. Waits 1500 ms for each list, and as addDriveForMediaLocation.
  static bool addMediaLocation(const Text& path);
  // Lists the location as unmounted if it was discovered, else takes it out of the locations; saves
  // that; tells the catalogue, lets the drive go, tells the listeners. False, and nothing written
  // or told, when no drive lies there. An empty location is the root of all. Waits 1500 ms for the
  // list.
  static bool removeMediaLocation(const Text& location);
  // NotFound when there is none. Nobody is told.
  static QvResult deleteMaterialVolume(DriveId id);
  // Names it, saves that as saveDriveInfo does and answers that; the listeners are told in any
  // case. False, and nothing changed or told, for no drive, and for a name that is no line. Waits
  // as saveDriveInfo.
  static bool renameMediaLocation(const DriveId& id, const Text& name);
  // In memory alone; nobody is told. For no drive a check fails.
  static void setMediaLocationUserName(DriveId id, Text name);
  // What the drive's information file says. Empty when there is no drive, no file or nothing in it;
  // also, and then a check fails and it is logged, when it cannot be read or says something else.
  // Waits 1500 ms for a silent drive.
  static Text getMediaLocationUserName(DriveId id);
  // The lines of the list; none when it is not there or cannot be read. Waits 1500 ms for it.
  static Vector<Text> getUnmountedDrives();
  // Takes the drives of that list out of the registry. Nobody is told. Waits as it.
  static void discardUnmountedDrives();
  // Takes the drives with codes above 'Z' out. Of each, in their order, the local name is appended
  // to that file and saved (the first replaces what it held), the listeners are told, and it goes.
  // A file that cannot be saved is logged; null: none is wanted. A check fails for each drive, also
  // of those that stay, that does not tell its space. False, and nothing written, when none goes.
  // Waits 500 ms for each silent drive and 1500 ms for the file's.
  static bool unmountDrives(const char* file);
  // The locations of the last addDrivesFromFile that could not be added.
  static Vector<Text> getMissingMediaLocations();

  // Look-ups. The first in the order of registration counts.

  static constexpr uint32_t kNoIndex = 0xFFFFFFFF;
  // kNoIndex when there is none.
  static uint32_t find(DriveId id);
  static uint32_t find_index_for_drive(const DriveId& id);
  // Null when there is none. A path is a root location, and its case counts.
  static Qv::Ptr<MediaDrive> getVolume(DriveId id);
  static Qv::Ptr<MediaDrive> getVolume(const Text& path);
  // The shared empty drive when there is none. The reference is good until that drive leaves the
  // registry: whoever cannot know when that is takes getVolume. That of the empty one is good for
  // ever.
  static MediaDrive& getDriveWithUniqueId(const DriveId& id);
  // '0' beyond the end.
  static DriveId get_drive(unsigned short index);
  // As getDriveWithUniqueId.
  static MediaDrive& getMediaDrive(unsigned short index);
  // '0' when no drive has that user name (its case counts), or that local name in any case.
  static DriveId getDriveWithName(const Text& name);
  static DriveId getDriveWithPath(const Text& path);
  // The local name; `raw`: of a share of this machine, the folder that it stands for. Empty when
  // there is no drive, and of the root of all.
  static Text getMaterialVolumeName(DriveId id, bool raw);
  // Whether there is such a drive.
  static bool isMaterialVolume(DriveId id);
  static bool isVolumePresent(DriveId id);
  // False when there is none.
  static bool isVolumeAutoDiscovered(DriveId id);
  // Failed, and `info` untouched, when there is no drive or it tells nothing. Waits 500 ms for a
  // silent drive.
  static QvResult getVolInfo(DriveId id, VolumeInfo* info);
  // A walk: false, and `id` untouched, at the end and from a drive that is not there.
  static bool getFirstMaterialVolume(DriveId& id);
  static bool getNextMaterialVolume(DriveId& id);
  // Whether this process may write there. False when the drive is silent; waits 500 ms for it.
  static bool writableVolume(const Text& path);
  // Reads the space of every drive: 0 of one that tells nothing. Waits 500 ms for all silent
  // ones together.
  static void updateDrives();

  // Notifications.

  // Null is nobody. The listener stays for as long as the process.
  static void addListener(const Notifier::Listener& listener);
  // "MediaLocationsChangeMsg".
  static void informInterestedParties();
  // "MediaOnlineChangeMsg".
  static void issueMediaOnlineChangeNotification();
  // updateDrives, then "disk manager update" when the last was more than 2000 ms ago.
  static void update_drives_and_groups();

  // Preparation.

  // Whether both media folders are there: of no drive, those at the root of all. Waits 500 ms for a
  // silent drive, and so does prepareVolumeForMedia; 1500 ms when it falls silent as a folder is
  // made.
  static bool isVolumePreparedForMedia(DriveId id);
  // Makes the folders that are missing. False, and it is logged and a check fails, when one cannot
  // be made; what was made stays. For no drive, and where its disk is away, nothing is made.
  static bool prepareVolumeForMedia(DriveId id);
  static Text getInfoFileNameFor(DriveId id);
  // Writes that drive's user name into the information file of its identifier. False, and it is
  // logged, when there is no free space or none is told: not a word is written then. True
  // otherwise, also when the writing failed, which is logged. Waits 500 ms for a silent drive, 1500
  // ms for one that falls silent as it is written.
  static bool saveDriveInfo(const MediaDrive& drive);
  // writableVolume of the identifier's character, a colon and a backslash.
  static bool isVolumeWritable(DriveId id);
  // The name if a drive has it; else empty.
  static Text getSaveName(const Text& name);

  // Tasks. Any text, or null, is a task.

  // Remembers the drive's local name in the preferences (of no registered drive an empty one); '0'
  // takes it out. Whether it was written is logged alone. Waits as the preferences.
  static void setDriveForTask(const char* task, const DriveId& id);
  // '0' when none is remembered or it is away; with `fallBack`, find_best_disk then.
  static DriveId getDriveForTask(const char* task, bool fallBack);
  // The last drive that had space when it was last asked; '0' when none had.
  static DriveId find_best_disk();
  // Of the drives that had more space than that when they were last asked, the one with the least
  // (eBestFit) or the most (eMostFree), whose space is less by the need until the next update. '0',
  // and nothing booked, when there is none, and for any other rule.
  static DriveId findBestDrive(double needMB, Match match);
  // What the drive says now, less the reserve; below nothing when there is none. Waits 500 ms for a
  // silent drive.
  static double getSpaceForRecording(const DriveId& id);
  static double getSpaceForRecording(const MediaDrive& drive);
  // The low 32 bits of the whole minutes. 4294967295 when there is no space for recording, and when
  // the rates leave an endless number or none. Waits as getSpaceForRecording.
  static uint32_t get_mins_of_recording_left(const DriveId& id, double rateA, double rateB);

  // Network names.

  // Empty when the file has none.
  static Text convertLocalToUNC(const MaterialFilename& file);
  // A default one when no drive has that name.
  static MaterialFilename convertUNCtoFsysFilename(const Text& unc);
  // Asks the system for this machine's shares, once in the process. True; std::bad_alloc: the next
  // one asks.
  static bool discoverLocalShares();
  // The folder here; empty when it lies under none of the shares.
  static Text convertUNCtoLocalShare(const Text& unc);
};
