-- What Brindle Studio's package needs beyond wixl's output.

-- wixl rejects Condition under Feature: the offline help, level 3, comes
-- down to level 1 (installed by default) for a user whose language is
-- English.
CREATE TABLE `Condition` (`Feature_` CHAR(38) NOT NULL, `Level` SHORT NOT NULL, `Condition` CHAR(255)
  PRIMARY KEY `Feature_`, `Level`);
INSERT INTO `Condition` (`Feature_`, `Level`, `Condition`) VALUES ('Help', 1, 'UserLanguageID = 1033');

-- Betas have an upgrade code of their own. A beta of this version line
-- (2.0.0 to 2.4.0, both included: attributes 768) is replaced like an older
-- release; wixl writes no IncludeMinimum/IncludeMaximum bits, hence SQL.
INSERT INTO `Upgrade` (`UpgradeCode`, `VersionMin`, `VersionMax`, `Attributes`, `ActionProperty`)
  VALUES ('{B81D5A40-BE7A-4000-8000-0000000B2140}', '2.0.0', '2.4.0', 768, 'BETAFOUND');
UPDATE `Property` SET `Value` = 'BETAFOUND;WIX_DOWNGRADE_DETECTED;WIX_UPGRADE_DETECTED'
  WHERE `Property` = 'SecureCustomProperties';

-- The folder actions that the WiX toolset sequences and wixl leaves out:
-- the Start menu folder and the install folders go with the product.
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveFolders', 3600);
INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('CreateFolders', 3700);

-- The words of the progress bar: what each action of the installation and
-- the removal is doing ([1] is the file, folder or value at hand).
CREATE TABLE `ActionText` (`Action` CHAR(72) NOT NULL, `Description` LONGCHAR LOCALIZABLE,
  `Template` LONGCHAR LOCALIZABLE PRIMARY KEY `Action`);
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('FindRelatedProducts', 'Looking for other versions of Brindle Studio', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('LaunchConditions', 'Checking the requirements', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('CostFinalize', 'Working out the space needed', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('InstallValidate', 'Checking the space and the files in use', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('RemoveExistingProducts', 'Removing the version it replaces', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('InstallInitialize', 'Preparing the installation', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('RemoveRegistryValues', 'Removing registry values', 'Key: [1], Name: [2]');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('RemoveShortcuts', 'Removing shortcuts', 'Shortcut: [1]');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('RemoveFiles', 'Removing files', 'File: [1], Directory: [9]');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('RemoveFolders', 'Removing folders', 'Folder: [1]');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('CreateFolders', 'Creating folders', 'Folder: [1]');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('InstallFiles', 'Copying new files', 'File: [1], Directory: [9], Size: [6]');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('CreateShortcuts', 'Creating shortcuts', 'Shortcut: [1]');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('WriteRegistryValues', 'Writing registry values', 'Key: [1], Name: [2], Value: [3]');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('RegisterUser', 'Registering the user', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('RegisterProduct', 'Registering Brindle Studio', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('PublishFeatures', 'Publishing the features', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('UnpublishFeatures', 'Unpublishing the features', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('PublishProduct', 'Publishing the product', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('InstallFinalize', 'Finishing', '');
INSERT INTO `ActionText` (`Action`, `Description`, `Template`) VALUES ('ProcessComponents', 'Updating the component registration', '');
