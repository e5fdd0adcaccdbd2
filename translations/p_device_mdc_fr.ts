<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name></name>
    <message id="DCmdGetInfo_Controller_model">
        <source>Controller model</source>
        <translation>Modèle du contrôleur</translation>
    </message>
    <message id="DCmdGetInfo_Screwdriver_model">
        <source>Screwdriver model</source>
        <translation>Modèle de la visseuse</translation>
    </message>
    <message id="DCmdGetInfo_Version">
        <source>Version</source>
        <translation>Version</translation>
    </message>
    <message id="DCmdGetInfo_Screwdriver_S_N">
        <source>Screwdriver S/N</source>
        <translation>N° de série de la visseuse</translation>
    </message>
    <message id="DCmdGetInfo_Software_version">
        <source>Software version</source>
        <translation>Version du logiciel</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_dev_info_data_incorrect_error">
        <source>The controller could not be identified: its device information is missing or cannot be used. Check the connection and start the backup again.</source>
        <translation>Impossible d’identifier le contrôleur : ses informations sont absentes ou inutilisables. Vérifiez la connexion, puis relancez la sauvegarde.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_tool_software_version_err">
        <source>The software version that the controller reports is not supported. Check the controller model and its firmware.</source>
        <translation>La version du logiciel indiquée par le contrôleur n’est pas prise en charge. Vérifiez le modèle du contrôleur et son micrologiciel.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_model_name_is_empty_error">
        <source>The controller did not report its model, so its registers to back up are not known. Check the controller and its connection.</source>
        <translation>Le contrôleur n’a pas indiqué son modèle : les registres à sauvegarder sont donc inconnus. Vérifiez le contrôleur et sa connexion.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_config_cannot_be_found_error">
        <source>The configuration does not say which registers of this controller model are to be backed up. Add a register range for this model to the configuration.</source>
        <translation>La configuration n’indique pas les registres à sauvegarder pour ce modèle de contrôleur. Ajoutez-y une plage de registres pour ce modèle.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_config_cannot_be_loadded_error">
        <source>The register range of this controller model in the configuration is not valid. Correct its "backup_range".</source>
        <translation>La plage de registres de ce modèle de contrôleur n’est pas valide dans la configuration. Corrigez son entrée « backup_range ».</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_dev_info_reading_registers_failed_error">
        <source>Reading the controller's registers failed, and no backup was saved. Check the connection and start the backup again.</source>
        <translation>La lecture des registres du contrôleur a échoué ; aucune sauvegarde n’a été enregistrée. Vérifiez la connexion, puis relancez la sauvegarde.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_no_file_error">
        <source>The backup file could not be saved. Check that the folder exists, that you may write to it and that there is enough free space.</source>
        <translation>Impossible d’enregistrer le fichier de sauvegarde. Vérifiez que le dossier existe, que vous avez le droit d’y écrire et que l’espace libre est suffisant.</translation>
    </message>
    <message id="DCmdRestore_device_info_empty">
        <source>The controller could not be identified, so nothing was restored. Check the connection and try again.</source>
        <translation>Impossible d’identifier le contrôleur : rien n’a été restauré. Vérifiez la connexion, puis réessayez.</translation>
    </message>
    <message id="DCmdRestore_backup_file_not_found">
        <source>The backup file could not be opened. Check its path and that you may read it.</source>
        <translation>Impossible d’ouvrir le fichier de sauvegarde. Vérifiez son chemin et votre droit de lecture.</translation>
    </message>
    <message id="DCmdRestore_backup_file_not_valid">
        <source>This file is not a valid backup, so nothing was restored. Choose another file.</source>
        <translation>Ce fichier n’est pas une sauvegarde valide : rien n’a été restauré. Choisissez un autre fichier.</translation>
    </message>
    <message id="DCmdRestore_backup_file_not_valid_error_at_line">
        <source>Line %1 of the backup file is not valid, so nothing was restored. Choose another file.</source>
        <translation>La ligne %1 du fichier de sauvegarde n’est pas valide : rien n’a été restauré. Choisissez un autre fichier.</translation>
    </message>
    <message id="DCmdRestore_model_name_does_not_match">
        <source>The backup was made on another controller model, so nothing was restored. Choose a backup of this model.</source>
        <translation>La sauvegarde provient d’un autre modèle de contrôleur : rien n’a été restauré. Choisissez une sauvegarde de ce modèle.</translation>
    </message>
    <message id="DCmdRestore_backup_file_not_contain_data">
        <source>The backup file holds no register values, so nothing was restored. Choose another file.</source>
        <translation>Le fichier de sauvegarde ne contient aucune valeur de registre : rien n’a été restauré. Choisissez un autre fichier.</translation>
    </message>
    <message id="DCmdRestore_backup_registers_conf_cannot_load">
        <source>The backup file and the register ranges in the configuration of this controller model do not fit together, or the configuration has none. Nothing was restored. Check the configuration, or choose a backup that was made with it.</source>
        <translation>Le fichier de sauvegarde ne correspond pas aux plages de registres configurées pour ce modèle de contrôleur, ou la configuration n’en contient pas. Rien n’a été restauré. Vérifiez la configuration ou choisissez une sauvegarde faite avec celle-ci.</translation>
    </message>
    <message id="DCmdRestore_start_end_preset_incorrect">
        <source>The choice of presets is not valid. The first preset must be 1 or more and must not come after the last one.</source>
        <translation>Le choix des programmes n’est pas valide. Le premier doit être supérieur ou égal à 1 et ne pas venir après le dernier.</translation>
    </message>
    <message id="DCmdRestore_cannot_process_data_vector">
        <source>The list of registers to write could not be made, so nothing was restored. Check the register groups in the configuration of this controller model.</source>
        <translation>Impossible d’établir la liste des registres à écrire : rien n’a été restauré. Vérifiez les groupes de registres dans la configuration de ce modèle de contrôleur.</translation>
    </message>
    <message id="DCmdRestore_torque_unit_incorrect">
        <source>The torque unit could not be read, so nothing was restored. Check the connection and the torque unit register in the configuration.</source>
        <translation>Impossible de lire l’unité de couple : rien n’a été restauré. Vérifiez la connexion et, dans la configuration, le registre de l’unité de couple.</translation>
    </message>
    <message id="DCmdRestore_torque_unit_not_matching">
        <source>The controller uses another torque unit than the backup, so nothing was restored. Set the controller to the torque unit of the backup, then try again.</source>
        <translation>Le contrôleur n’utilise pas la même unité de couple que la sauvegarde : rien n’a été restauré. Réglez le contrôleur sur l’unité de couple de la sauvegarde, puis réessayez.</translation>
    </message>
    <message id="maintenance_panel_Controller_commands">
        <source>Controller commands</source>
        <translation>Commandes du contrôleur</translation>
    </message>
    <message id="maintenance_panel_Set_program">
        <source>Set program</source>
        <translation>Choisir le programme</translation>
    </message>
    <message id="maintenance_panel_Apply">
        <source>Apply</source>
        <translation>Appliquer</translation>
    </message>
    <message id="maintenance_panel_Set_lock">
        <source>Set lock</source>
        <translation>Verrouillage de l’outil</translation>
    </message>
    <message id="maintenance_panel_Lock">
        <source>Lock</source>
        <translation>Verrouiller</translation>
    </message>
    <message id="maintenance_panel_Unlock">
        <source>Unlock</source>
        <translation>Déverrouiller</translation>
    </message>
    <message id="maintenance_panel_Set_direction">
        <source>Set direction</source>
        <translation>Sens de rotation</translation>
    </message>
    <message id="maintenance_panel_Fastening">
        <source>Fastening</source>
        <translation>Vissage</translation>
    </message>
    <message id="maintenance_panel_Loosening">
        <source>Loosening</source>
        <translation>Dévissage</translation>
    </message>
    <message id="maintenance_panel_Controller_Status">
        <source>Controller Status</source>
        <translation>État du contrôleur</translation>
    </message>
    <message id="BeMaintenance_action_setProgram">
        <source>Set program</source>
        <translation>Choix du programme</translation>
    </message>
    <message id="BeMaintenance_action_setLock">
        <source>Tool lock</source>
        <translation>Verrouillage de l’outil</translation>
    </message>
    <message id="BeMaintenance_action_setDirection">
        <source>Set direction</source>
        <translation>Sens de rotation</translation>
    </message>
    <message id="BeMaintenance_done_setProgram">
        <source>Program %1 set</source>
        <translation>Programme %1 choisi</translation>
    </message>
    <message id="BeMaintenance_lock_none">
        <source>Unlocked</source>
        <translation>Déverrouillé</translation>
    </message>
    <message id="BeMaintenance_lock_both">
        <source>Locked</source>
        <translation>Verrouillé</translation>
    </message>
    <message id="BeMaintenance_lock_loosening">
        <source>Loosening locked</source>
        <translation>Dévissage verrouillé</translation>
    </message>
    <message id="BeMaintenance_lock_fastening">
        <source>Fastening locked</source>
        <translation>Vissage verrouillé</translation>
    </message>
    <message id="BeMaintenance_direction_fastening">
        <source>Fastening</source>
        <translation>Vissage</translation>
    </message>
    <message id="BeMaintenance_direction_loosening">
        <source>Loosening</source>
        <translation>Dévissage</translation>
    </message>
    <message id="maintenance_panel_Program_missing">
        <source>Enter a program number</source>
        <translation>Saisissez un numéro de programme</translation>
    </message>
    <message id="maintenance_panel_Program_impossible">
        <source>Whole number from 1 up</source>
        <translation>Nombre entier à partir de 1</translation>
    </message>
    <message id="maintenance_panel_On">
        <source>on</source>
        <translation>allumé</translation>
    </message>
    <message id="maintenance_panel_Off">
        <source>off</source>
        <translation>éteint</translation>
    </message>
</context>
</TS>
