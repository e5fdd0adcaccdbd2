<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_GB">
<context>
    <name></name>
    <message id="DCmdGetInfo_Controller_model">
        <source>Controller model</source>
        <translation>Controller model</translation>
    </message>
    <message id="DCmdGetInfo_Screwdriver_model">
        <source>Screwdriver model</source>
        <translation>Screwdriver model</translation>
    </message>
    <message id="DCmdGetInfo_Version">
        <source>Version</source>
        <translation>Version</translation>
    </message>
    <message id="DCmdGetInfo_Screwdriver_S_N">
        <source>Screwdriver S/N</source>
        <translation>Screwdriver S/N</translation>
    </message>
    <message id="DCmdGetInfo_Software_version">
        <source>Software version</source>
        <translation>Software version</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_dev_info_data_incorrect_error">
        <source>The controller could not be identified: its device information is missing or cannot be used. Check the connection and start the backup again.</source>
        <translation>The controller could not be identified: its device information is missing or cannot be used. Check the connection and start the backup again.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_tool_software_version_err">
        <source>The software version that the controller reports is not supported. Check the controller model and its firmware.</source>
        <translation>The software version that the controller reports is not supported. Check the controller model and its firmware.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_model_name_is_empty_error">
        <source>The controller did not report its model, so its registers to back up are not known. Check the controller and its connection.</source>
        <translation>The controller did not report its model, so its registers to back up are not known. Check the controller and its connection.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_config_cannot_be_found_error">
        <source>The configuration does not say which registers of this controller model are to be backed up. Add a register range for this model to the configuration.</source>
        <translation>The configuration does not say which registers of this controller model are to be backed up. Add a register range for this model to the configuration.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_config_cannot_be_loadded_error">
        <source>The register range of this controller model in the configuration is not valid. Correct its "backup_range".</source>
        <translation>The register range of this controller model in the configuration is not valid. Correct its "backup_range".</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_dev_info_reading_registers_failed_error">
        <source>Reading the controller's registers failed, and no backup was saved. Check the connection and start the backup again.</source>
        <translation>Reading the controller's registers failed, and no backup was saved. Check the connection and start the backup again.</translation>
    </message>
    <message id="DCmdBackup_deviceMdc_no_file_error">
        <source>The backup file could not be saved. Check that the folder exists, that you may write to it and that there is enough free space.</source>
        <translation>The backup file could not be saved. Check that the folder exists, that you may write to it and that there is enough free space.</translation>
    </message>
    <message id="DCmdRestore_device_info_empty">
        <source>The controller could not be identified, so nothing was restored. Check the connection and try again.</source>
        <translation>The controller could not be identified, so nothing was restored. Check the connection and try again.</translation>
    </message>
    <message id="DCmdRestore_backup_file_not_found">
        <source>The backup file could not be opened. Check its path and that you may read it.</source>
        <translation>The backup file could not be opened. Check its path and that you may read it.</translation>
    </message>
    <message id="DCmdRestore_backup_file_not_valid">
        <source>This file is not a valid backup, so nothing was restored. Choose another file.</source>
        <translation>This file is not a valid backup, so nothing was restored. Choose another file.</translation>
    </message>
    <message id="DCmdRestore_backup_file_not_valid_error_at_line">
        <source>Line %1 of the backup file is not valid, so nothing was restored. Choose another file.</source>
        <translation>Line %1 of the backup file is not valid, so nothing was restored. Choose another file.</translation>
    </message>
    <message id="DCmdRestore_model_name_does_not_match">
        <source>The backup was made on another controller model, so nothing was restored. Choose a backup of this model.</source>
        <translation>The backup was made on another controller model, so nothing was restored. Choose a backup of this model.</translation>
    </message>
    <message id="DCmdRestore_backup_file_not_contain_data">
        <source>The backup file holds no register values, so nothing was restored. Choose another file.</source>
        <translation>The backup file holds no register values, so nothing was restored. Choose another file.</translation>
    </message>
    <message id="DCmdRestore_backup_registers_conf_cannot_load">
        <source>The backup file and the register ranges in the configuration of this controller model do not fit together, or the configuration has none. Nothing was restored. Check the configuration, or choose a backup that was made with it.</source>
        <translation>The backup file and the register ranges in the configuration of this controller model do not fit together, or the configuration has none. Nothing was restored. Check the configuration, or choose a backup that was made with it.</translation>
    </message>
    <message id="DCmdRestore_start_end_preset_incorrect">
        <source>The choice of presets is not valid. The first preset must be 1 or more and must not come after the last one.</source>
        <translation>The choice of presets is not valid. The first preset must be 1 or more and must not come after the last one.</translation>
    </message>
    <message id="DCmdRestore_cannot_process_data_vector">
        <source>The list of registers to write could not be made, so nothing was restored. Check the register groups in the configuration of this controller model.</source>
        <translation>The list of registers to write could not be made, so nothing was restored. Check the register groups in the configuration of this controller model.</translation>
    </message>
    <message id="DCmdRestore_torque_unit_incorrect">
        <source>The torque unit could not be read, so nothing was restored. Check the connection and the torque unit register in the configuration.</source>
        <translation>The torque unit could not be read, so nothing was restored. Check the connection and the torque unit register in the configuration.</translation>
    </message>
    <message id="DCmdRestore_torque_unit_not_matching">
        <source>The controller uses another torque unit than the backup, so nothing was restored. Set the controller to the torque unit of the backup, then try again.</source>
        <translation>The controller uses another torque unit than the backup, so nothing was restored. Set the controller to the torque unit of the backup, then try again.</translation>
    </message>
    <message id="maintenance_panel_Controller_commands">
        <source>Controller commands</source>
        <translation>Controller commands</translation>
    </message>
    <message id="maintenance_panel_Set_program">
        <source>Set program</source>
        <translation>Set program</translation>
    </message>
    <message id="maintenance_panel_Apply">
        <source>Apply</source>
        <translation>Apply</translation>
    </message>
    <message id="maintenance_panel_Set_lock">
        <source>Set lock</source>
        <translation>Set lock</translation>
    </message>
    <message id="maintenance_panel_Lock">
        <source>Lock</source>
        <translation>Lock</translation>
    </message>
    <message id="maintenance_panel_Unlock">
        <source>Unlock</source>
        <translation>Unlock</translation>
    </message>
    <message id="maintenance_panel_Set_direction">
        <source>Set direction</source>
        <translation>Set direction</translation>
    </message>
    <message id="maintenance_panel_Fastening">
        <source>Fastening</source>
        <translation>Fastening</translation>
    </message>
    <message id="maintenance_panel_Loosening">
        <source>Loosening</source>
        <translation>Loosening</translation>
    </message>
    <message id="maintenance_panel_Controller_Status">
        <source>Controller Status</source>
        <translation>Controller Status</translation>
    </message>
    <message id="BeMaintenance_action_setProgram">
        <source>Set program</source>
        <translation>Set program</translation>
    </message>
    <message id="BeMaintenance_action_setLock">
        <source>Tool lock</source>
        <translation>Tool lock</translation>
    </message>
    <message id="BeMaintenance_action_setDirection">
        <source>Set direction</source>
        <translation>Set direction</translation>
    </message>
    <message id="BeMaintenance_done_setProgram">
        <source>Program %1 set</source>
        <translation>Program %1 set</translation>
    </message>
    <message id="BeMaintenance_lock_none">
        <source>Unlocked</source>
        <translation>Unlocked</translation>
    </message>
    <message id="BeMaintenance_lock_both">
        <source>Locked</source>
        <translation>Locked</translation>
    </message>
    <message id="BeMaintenance_lock_loosening">
        <source>Loosening locked</source>
        <translation>Loosening locked</translation>
    </message>
    <message id="BeMaintenance_lock_fastening">
        <source>Fastening locked</source>
        <translation>Fastening locked</translation>
    </message>
    <message id="BeMaintenance_direction_fastening">
        <source>Fastening</source>
        <translation>Fastening</translation>
    </message>
    <message id="BeMaintenance_direction_loosening">
        <source>Loosening</source>
        <translation>Loosening</translation>
    </message>
    <message id="maintenance_panel_Program_missing">
        <source>Enter a program number</source>
        <translation>Enter a program number</translation>
    </message>
    <message id="maintenance_panel_Program_impossible">
        <source>Whole number from 1 up</source>
        <translation>Whole number from 1 up</translation>
    </message>
    <message id="maintenance_panel_On">
        <source>on</source>
        <translation>on</translation>
    </message>
    <message id="maintenance_panel_Off">
        <source>off</source>
        <translation>off</translation>
    </message>
</context>
</TS>
