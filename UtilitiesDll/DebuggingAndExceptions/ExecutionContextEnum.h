#pragma once
// The identifiers of general execution contexts (ExecutionContextEnum).
//
// Callers store these numbers, so the values are fixed: consecutive integers
// from 31500 in the order of the table below, which is therefore not sorted
// and must only ever grow at its end (before the end marker). The names are
// the system's own, spelling included (ECIE_EXPORT_SAVED_SETINGS_STORE_TO_FILE,
// the change-request date in ECIE_NOTIFICATION_CHANGE_..._CS9372_2014_MAY_12).
// ECIE_NO_MORE_ENUMS (31679) is the end marker: it has a name, but it is not
// a valid identifier (valid: 31500 to 31678).
//
// The one table generates both the enumeration (here) and the name table of
// ExecutionContextBase (ExecutionContextBase.cpp): FIRST(name) for the first
// entry, NEXT(name) for each further one.

#define HDU_EXECUTION_CONTEXT_ENUM_TABLE(FIRST, NEXT)                                    \
  FIRST(ECIE_NOT_SPECIFIED)                                                              \
  NEXT(ECIE_ACTIVE_DEFAULTS_CAPABILITIES_VALIDATION)                                     \
  NEXT(ECIE_ADVANCED_XCPT_FILTER_GENERATE_ADVANCED_PDL)                                  \
  NEXT(ECIE_APPLICATION_ON_CANCEL_PROCESSING)                                            \
  NEXT(ECIE_APPLICATION_ON_CLOSE_PROCESSING)                                             \
  NEXT(ECIE_APPLICATION_ON_OK_PROCESSING)                                                \
  NEXT(ECIE_APPLY_LIST_OF_ATTRIBUTES_DEFAULT_VALUE_ON_CREATION)                          \
  NEXT(ECIE_ASSIGN_CURRENT_SETTINGS_TO_OTHER_SETTINGS)                                   \
  NEXT(ECIE_ASSIGN_CURRENT_SETTINGS_TO_OVERRIDDEN_DEFAULTS)                              \
  NEXT(ECIE_INIT_OVERRIDDEN_DEFAULTS_WITH_FACTORY_DEFAULTS)                              \
  NEXT(ECIE_IMPORT_OVERRIDDEN_DEFAULTS_FROM_PRINT_TICKET)                                \
  NEXT(ECIE_IMPORT_OVERRIDDEN_DEFAULTS_FROM_SCAN_DEFAULTS)                               \
  NEXT(ECIE_ESTABLISH_OVERRIDDEN_DEFAULTS)                                               \
  NEXT(ECIE_ATTRIBUTE_BYTE_LIST_TRANSLATOR)                                              \
  NEXT(ECIE_ATTRIBUTE_TRANSLATOR_FOR_XML)                                                \
  NEXT(ECIE_ATTRIBUTE_TRANSLATOR_FOR_XML_PARSING)                                        \
  NEXT(ECIE_CAPABILITIES_TRANSFORMER)                                                    \
  NEXT(ECIE_COPY_PRINTER_STOCK_TO_CONTEXT)                                               \
  NEXT(ECIE_CURRENT_SETTINGS_CAPABILITIES_VALIDATION)                                    \
  NEXT(ECIE_CURRENT_SETTINGS_CAPABILITIES_VALIDATION_AFTER_CONSTRAINT_ENGINE)            \
  NEXT(ECIE_DATAMODEL_INITIALIZE_CONSTRAINT_ENGINE)                                      \
  NEXT(ECIE_NOTIFICATION_CHANGE_TO_ISOLATE_USER_INTENDED_CHANGES_FOR_CS9372_2014_MAY_12) \
  NEXT(ECIE_DEFERRING_NOTIFICATION_FOR_FUTURE_DELIVERY)                                  \
  NEXT(ECIE_DETECT_OVERFLOW_FOR_EXPORT_DATAMODEL_DOC_ATTRIBUTEBYTES_TO_PRINTTICKET)      \
  NEXT(ECIE_DETECT_OVERFLOW_FOR_EXPORT_HALDEN_PUBLIC_DOC_SETTINGS_TO_PRINTTICKET)        \
  NEXT(ECIE_DEVICE_STATUS_APP)                                                           \
  NEXT(ECIE_DEVICE_STATUS_APP_FOR_JOB_TRACKING)                                          \
  NEXT(ECIE_DEVICE_STATUS_JOB_TRACKER_INITIALIZE_APPLICATION)                            \
  NEXT(ECIE_DM_INTEGRATE_SOURCE_DATA_BLOCK)                                              \
  NEXT(ECIE_DM_POPULATE_FROM_SOURCE_DATA)                                                \
  NEXT(ECIE_DM_POPULATE_FROM_STATE_DATA)                                                 \
  NEXT(ECIE_DM_UPDATE_CURRENT_SETTINGS_BLOCK)                                            \
  NEXT(ECIE_DO_APPLY_CHANGES)                                                            \
  NEXT(ECIE_DO_TELOC_TESTING_OR_PROCESSING)                                              \
  NEXT(ECIE_ENABLE_ALL_SUPPORTED_FEATURE_NOTIFICATION_INFRASTRUCTURE)                    \
  NEXT(ECIE_ENABLE_SUPPORTED_FEATURE_NOTIFICATIONS_FOR_DEFAULT_SETTINGS)                 \
  NEXT(ECIE_EVENT_CAN_UPDATE_CURRENT_SETTINGS_AFTER_DM_INIT)                             \
  NEXT(ECIE_EVENT_FACTORY_DEFAULTS_INITIALIZED)                                          \
  NEXT(ECIE_EVENT_CURRENT_SETTINGS_INITIALIZED)                                          \
  NEXT(ECIE_EVENT_DRIVER_DEFAULT_ALL)                                                    \
  NEXT(ECIE_EXECUTE_CONSTRAINT)                                                          \
  NEXT(ECIE_EXPORT_ANNOTATION_DEFINITION)                                                \
  NEXT(ECIE_EXPORT_SAVED_SETINGS_STORE_TO_FILE)                                          \
  NEXT(ECIE_EXPORT_DATAMODEL_DOC_ATTRIBUTEBYTES_TO_UPDATE_PRINTTICKET)                   \
  NEXT(ECIE_EXPORT_USER_STOCKS_TO_FILE)                                                  \
  NEXT(ECIE_EXPORT_CURRENT_SETTINGS_FOR_DEBUGGING)                                       \
  NEXT(ECIE_EXPORT_FACTORY_DEFAULTS_FOR_DEBUGGING)                                       \
  NEXT(ECIE_EXPORT_OVERRIDDEN_DEFAULTS_FOR_DEBUGGING)                                    \
  NEXT(ECIE_EXPORT_CAPABILITIES_AND_DEFAULTS_FOR_DEBUGGING)                              \
  NEXT(ECIE_EXPORT_SCAN_CAPABILITIES_AND_DEFAULTS_FOR_DEBUGGING)                         \
  NEXT(ECIE_EXPORT_TELOC_IN_DO_TELOC_TESTING_OR_PROCESSING)                              \
  NEXT(ECIE_EXPORT_HALDEN_PUBLIC_DOC_SETTINGS_TO_UPDATE_PRINTTICKET)                     \
  NEXT(ECIE_EXPORT_ORVIK_FILE)                                                           \
  NEXT(ECIE_FEATURE_VALUE_CHANGES_DUE_TO_SUPPORTED_FEATURE_CHANGES)                      \
  NEXT(ECIE_FULLY_POPULATE_CAPABILITIES)                                                 \
  NEXT(ECIE_GENERATE_DATAMODEL_ORVIK_OR_XCPT)                                            \
  NEXT(ECIE_GENERATE_LEGACY_PDL_PRINT_INSTRUCTIONS)                                      \
  NEXT(ECIE_GENERATE_MINIMUM_ORVIK)                                                      \
  NEXT(ECIE_HANDLE_ON_FIXED_DOCUMENT_SEQUENCE)                                           \
  NEXT(ECIE_IMPORT_ACTIVE_DEFAULT_SETTINGS)                                              \
  NEXT(ECIE_IMPORT_ANNOTATION_DEFINITION)                                                \
  NEXT(ECIE_IMPORT_CBR_XML_DATA)                                                         \
  NEXT(ECIE_IMPORT_DATAMODEL_DOC_ATTRIBUTEBYTES_INTO_CURRENT_SETTINGS)                   \
  NEXT(ECIE_IMPORT_DRIVER_VERSION_ATTRIBUTES_FROM_XML)                                   \
  NEXT(ECIE_IMPORT_FROM_PRINT_TICKET)                                                    \
  NEXT(ECIE_IMPORT_MICROSOFT_PUBLIC_PRINT_TICKET_INTO_CURRENT_SETTINGS)                  \
  NEXT(ECIE_IMPORT_PRINTER_STOCKS_FROM_FILE)                                             \
  NEXT(ECIE_IMPORT_SETTINGS_NOTIFY_SECOND_PASS)                                          \
  NEXT(ECIE_IMPORT_USER_STOCKS_FROM_FILE)                                                \
  NEXT(ECIE_IMPORT_TELOC)                                                                \
  NEXT(ECIE_IMPORT_SCAN_TELOC)                                                           \
  NEXT(ECIE_IMPORT_TELOC_IN_DO_TELOC_TESTING_OR_PROCESSING)                              \
  NEXT(ECIE_IMPORT_HALDEN_PUBLIC_DOC_SETTINGS_INTO_CURRENT_SETTINGS)                     \
  NEXT(ECIE_IMPORT_ORVIK_FILE)                                                           \
  NEXT(ECIE_IMPORT_KSDF)                                                                 \
  NEXT(ECIE_IMPORTED_FEATURES_ELIGIBLE_FOR_UPGRADE)                                      \
  NEXT(ECIE_IMPORTING_A_LIST_VALUE_IN_SETVALUEHELPER)                                    \
  NEXT(ECIE_INIT_CURRENT_SETTINGS_FROM_DEFAULTS)                                         \
  NEXT(ECIE_INIT_SPECIAL_PAGES_SERVICES)                                                 \
  NEXT(ECIE_INIT_TEMPORARY_SPECIAL_PAGES_SERVICES)                                       \
  NEXT(ECIE_INITIALIZE_DEVICE_STATUS_FOR_JOB_TRACKING)                                   \
  NEXT(ECIE_INITIALIZE_DEVICE_STATUS_JOB_TRACKER_APP)                                    \
  NEXT(ECIE_INITIALIZE_QUEUE_SETTINGS_APP)                                               \
  NEXT(ECIE_INITIALIZE_UI_FOR_JOB_TRACKER_OR_DEVICE_STATUS)                              \
  NEXT(ECIE_INITIALIZE_UI_FOR_PRINT_JOB_EVENT_MANAGER)                                   \
  NEXT(ECIE_INITIALIZE_UI_FOR_QUEUE_SETTINGS)                                            \
  NEXT(ECIE_INITIALIZE_UI_FOR_MERIDIAN_DESKTOP_APP)                                      \
  NEXT(ECIE_INITIALIZE_MERIDIAN_DESKTOP_APP)                                             \
  NEXT(ECIE_INITIALIZE_HALDEN_PRINT_JOB_EVENT_MANAGER_APP)                               \
  NEXT(ECIE_INTEGRATE_SOURCE_DATA)                                                       \
  NEXT(ECIE_INTEGRATE_SOURCE_DATA_FROM_DATA_SOURCES)                                     \
  NEXT(ECIE_MERGE_FACTORY_DEFAULTS_INTO_OVERRIDDEN_DEFAULTS)                             \
  NEXT(ECIE_NOTIFY_CURRENT_VALUE_CHANGED)                                                \
  NEXT(ECIE_NOTIFY_DEFAULT_VALUE_CHANGED)                                                \
  NEXT(ECIE_NOTIFY_DATA_MODEL_READY_FOR_USE)                                             \
  NEXT(ECIE_NOTIFY_FEATURE_RESTRICTED_STATE_CHANGED)                                     \
  NEXT(ECIE_NOTIFY_IS_REQUIRED_FEATURE_CHANGED)                                          \
  NEXT(ECIE_NOTIFY_IS_SUPPORTED_FEATURE_CHANGED)                                         \
  NEXT(ECIE_NOTIFY_IS_USER_DEFINABLE_FEATURE_CHANGED)                                    \
  NEXT(ECIE_NOTIFY_OPTION_STATES_CHANGED)                                                \
  NEXT(ECIE_NOTIFY_SUPPORTED_VALUES_CHANGED)                                             \
  NEXT(ECIE_NOTIFY_UNSPECIFIED_RESTRICTED_STATE_CHANGED)                                 \
  NEXT(ECIE_ON_FIXED_DOCUMENT_SEQUENCE)                                                  \
  NEXT(ECIE_PREPARE_TO_APPLY_CHANGES)                                                    \
  NEXT(ECIE_PROCESS_CONSTRAINTS)                                                         \
  NEXT(ECIE_PROCESS_NOTIFICATION)                                                        \
  NEXT(ECIE_QUEUE_SETTINGS_APP)                                                          \
  NEXT(ECIE_REGISTER_AS_DATA_MODEL_SERVICE_PROVIDER)                                     \
  NEXT(ECIE_REGISTER_FOR_INTEGRATE_SOURCE_DATA)                                          \
  NEXT(ECIE_REGISTER_FOR_UPDATE_CURRENT_SETTINGS)                                        \
  NEXT(ECIE_REINITIALIZE_DEVICE_STATUS_JOB_TRACKER_APP)                                  \
  NEXT(ECIE_REINITIALIZE_QUEUE_SETTINGS_APP)                                             \
  NEXT(ECIE_REQUIRED_FEATURES_ENFORCEMENT)                                               \
  NEXT(ECIE_SAVE_FEATURE_SERVICES_FOR_UPGRADE_HANDLING)                                  \
  NEXT(ECIE_SAVE_SOURCE_DATA_INTEGRATOR_INTERFACES_FOR_UPGRADE_HANDLING)                 \
  NEXT(ECIE_SEND_NOTIFICATIONS_AFTER_CAPABILITIES_VALIDATION)                            \
  NEXT(ECIE_SEND_NOTIFICATIONS_AFTER_DEFAULT_ALL_EVENT)                                  \
  NEXT(ECIE_SEND_NOTIFICATIONS_AFTER_INTEGRATE_SOURCE_DATA)                              \
  NEXT(ECIE_SEND_NOTIFICATIONS_AFTER_SET_TO_DEFAULT_VALUES)                              \
  NEXT(ECIE_SEND_NOTIFICATIONS_AFTER_UPDATE_CURRENT_SETTINGS)                            \
  NEXT(ECIE_SEND_NOTIFICATIONS_AFTER_OVERRIDING_DEFAULT_VALUES)                          \
  NEXT(ECIE_SENDING_DEFERRED_NOTIFICATIONS_FROM_EARLIER_CHANGES)                         \
  NEXT(ECIE_SET_CAPABILITIES_IN_FEATURE_REF_CLR)                                         \
  NEXT(ECIE_SET_CURRENT_VALUE_DATA_BINDING)                                              \
  NEXT(ECIE_SET_IS_SPECIFIED_DATA_BINDING)                                               \
  NEXT(ECIE_SET_MEDIA_COL_TO_SPECIFIED_IN_FEATURE_REF_CLR)                               \
  NEXT(ECIE_SET_TO_DEFAULT_VALUES)                                                       \
  NEXT(ECIE_SETTINGS_IMPORTER)                                                           \
  NEXT(ECIE_SETTINGS_INTERSECTOR)                                                        \
  NEXT(ECIE_SETTINGS_REPORT_CHANGES_DUE_TO_NEWLY_SPECIFIED_PARENT)                       \
  NEXT(ECIE_SETTINGS_VALIDATOR)                                                          \
  NEXT(ECIE_START_ENFORCING_REQUIRED_FEATURES)                                           \
  NEXT(ECIE_SUPPLEMENTAL_DEFAULTS_CAPABILITIES_VALIDATION)                               \
  NEXT(ECIE_FACTORY_DEFAULTS_CAPABILITIES_VALIDATION)                                    \
  NEXT(ECIE_THREAD_DEVICE_STATUS_UPDATE)                                                 \
  NEXT(ECIE_THREAD_LOAD_CBRS_FROM_DEVICE)                                                \
  NEXT(ECIE_THREADED_BIDI_WM_UPDATE_STATUS_IN_DATA_MODEL)                                \
  NEXT(ECIE_UI_ACTIVE_TAB_MOLECULE)                                                      \
  NEXT(ECIE_UI_CREATE_PRESENTATION)                                                      \
  NEXT(ECIE_UI_DIALOG)                                                                   \
  NEXT(ECIE_UI_FINISHING_HANDLER_CLEAR_ALL_FINISHING_EXCEPT)                             \
  NEXT(ECIE_UI_FINISHING_HANDLER_GENERAL)                                                \
  NEXT(ECIE_UI_FINISHING_HANDLER_PROCESS_SELECTION_CHANGE)                               \
  NEXT(ECIE_UI_FINISHING_HANDLER_UI_FEATURE_CHANGED)                                     \
  NEXT(ECIE_UI_HANDLER_INTEGRATE_SOURCE_DATA)                                            \
  NEXT(ECIE_UI_MENU_ITEM_CLICKED)                                                        \
  NEXT(ECIE_UI_ON_FEATURE_PROPERTY_CHANGED)                                              \
  NEXT(ECIE_UI_PROCESS_MENU_ITEM_SELECTION)                                              \
  NEXT(ECIE_UI_SET_CURRENT_VALUE_IN_BOOLEAN_RADIO_BUTTON_TILE)                           \
  NEXT(ECIE_UI_SET_CURRENT_VALUE_IN_CHECKED_COMBOBOX_TILE)                               \
  NEXT(ECIE_UI_SET_CURRENT_VALUE_IN_COMBO_TILE)                                          \
  NEXT(ECIE_UI_SET_CURRENT_VALUE_IN_DIMENSION_SPIN_TILE)                                 \
  NEXT(ECIE_UI_SET_CURRENT_VALUE_IN_RADIO_BUTTON_TILE)                                   \
  NEXT(ECIE_UI_SET_CURRENT_VALUE_IN_SPIN_TILE)                                           \
  NEXT(ECIE_UI_SET_CURRENT_VALUE_IN_PASSWORD_TILE)                                       \
  NEXT(ECIE_UI_SPECIAL_PAGES_HANDLER)                                                    \
  NEXT(ECIE_UI_SAVED_SETTINGS_HANDLER)                                                   \
  NEXT(ECIE_UI_UPDATE_STATE_VALUES)                                                      \
  NEXT(ECIE_UNDO_LAST_TRANSACTION)                                                       \
  NEXT(ECIE_UNREGISTER_FOR_INTEGRATE_SOURCE_DATA)                                        \
  NEXT(ECIE_UNREGISTER_FOR_UPDATE_CURRENT_SETTINGS)                                      \
  NEXT(ECIE_UPDATE_CURRENT_SETTINGS)                                                     \
  NEXT(ECIE_UPDATE_CURRENT_SETTINGS_BY_DATA_SOURCES)                                     \
  NEXT(ECIE_UPDATE_DATAMODEL_WITH_BIDI_STATUS_DURING_DATAMODEL_INIT)                     \
  NEXT(ECIE_UPDATE_JOB_TICKET_AFTER_PRINT_INSTRUCTION_GENERATION)                        \
  NEXT(ECIE_UPDATE_USER_NAME_IN_PRINT_TICKET)                                            \
  NEXT(ECIE_UPGRADE_OBSERVERS_NOTIFIED_ABOUT_IMPORTED_FEATURES)                          \
  NEXT(ECIE_UPGRADED_IMPORT_OPERATION_COMPLETE)                                          \
  NEXT(ECIE_VALIDATE_SETTINGS_AT_DRIVER_UI_MAIN_OK_BUT_ONLY_ASSERT_DO_NOT_RESOLVE)       \
  NEXT(ECIE_MERIDIAN_DESKTOP_APP)                                                        \
  NEXT(ECIE_WARMUP_MERIDIAN_DESKTOP_APP)                                                 \
  NEXT(ECIE_TELOC_TRANSLATOR)                                                            \
  NEXT(ECIE_HALDEN_PRINT_JOB_EVENT_MANAGER_APP)                                          \
  NEXT(ECIE_HALDEN_PRINT_JOB_EVENT_MANAGER_LOADER)                                       \
  NEXT(ECIE_HALDEN_PRINT_JOB_EVENT_MANAGER_LOADER_RUN)                                   \
  NEXT(ECIE_ORVIK_TRANSLATOR)                                                            \
  NEXT(ECIE_XPS_FILTER_START_OPERATION)                                                  \
  NEXT(ECIE_OVERRIDE_DEFAULTS_WITH_XML_CONFIG_SETTINGS)                                  \
  NEXT(ECIE_UI_ADD_FEATURE_AS_SUPPORTED)                                                 \
  NEXT(ECIE_NO_MORE_ENUMS)

#define HDU_EXECUTION_CONTEXT_ENUM_FIRST(name) name = 31500,
#define HDU_EXECUTION_CONTEXT_ENUM_NEXT(name) name,
// Passed and returned as a plain `int`; the enumeration names the values.
enum ExecutionContextEnum : int {
  HDU_EXECUTION_CONTEXT_ENUM_TABLE(HDU_EXECUTION_CONTEXT_ENUM_FIRST, HDU_EXECUTION_CONTEXT_ENUM_NEXT)
};
#undef HDU_EXECUTION_CONTEXT_ENUM_FIRST
#undef HDU_EXECUTION_CONTEXT_ENUM_NEXT

static_assert(ECIE_NO_MORE_ENUMS == 31679, "180 names from 31500: the end marker is 31679");
