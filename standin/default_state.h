// The first content of the stand-in's state file. All of it is invented.

#ifndef STANDIN_DEFAULT_STATE_H
#define STANDIN_DEFAULT_STATE_H

inline constexpr const char standin_default_state[] = R"json({
	"connection": {
		"server": "corvane.example.com",
		"address": "192.0.2.24:443",
		"user": "robin.sample",
		"computer": "4F1C-90A2-77DE",
		"status": 1,
		"audit": 0
	},
	"computer": {
		"name": "sample-laptop",
		"mac": "02:00:5e:10:20:30",
		"serial": "SMPL0042"
	},
	"dex": {
		"stats": {
			"score": 82,
			"since": "2026-01-12T08:00:00Z",
			"items": [
				{"tag": "cpul", "name": "Processor load", "value": 23, "unit": "%", "score": 91},
				{"tag": "memu", "name": "Memory in use", "value": 61, "unit": "%", "score": 78},
				{"tag": "disk", "name": "Free disk space", "value": 148, "unit": "GB", "score": 88},
				{"tag": "boot", "name": "Start-up time", "value": 34, "unit": "s", "score": 72},
				{"tag": "wifi", "name": "Wireless signal", "value": -58, "unit": "dBm", "score": 80}
			]
		},
		"history": {
			"cpul": [{"day": "2026-01-10", "value": 19}, {"day": "2026-01-11", "value": 31}, {"day": "2026-01-12", "value": 23}],
			"memu": [{"day": "2026-01-10", "value": 58}, {"day": "2026-01-11", "value": 66}, {"day": "2026-01-12", "value": 61}],
			"disk": [{"day": "2026-01-10", "value": 151}, {"day": "2026-01-11", "value": 149}, {"day": "2026-01-12", "value": 148}],
			"boot": [{"day": "2026-01-10", "value": 36}, {"day": "2026-01-11", "value": 33}, {"day": "2026-01-12", "value": 34}],
			"wifi": [{"day": "2026-01-10", "value": -61}, {"day": "2026-01-11", "value": -57}, {"day": "2026-01-12", "value": -58}]
		},
		"scripts": [
			{"id": "clear-caches", "name": "Clear application caches", "description": "Removes temporary files that applications can make again."},
			{"id": "renew-address", "name": "Renew network address", "description": "Asks the network for a new address."},
			{"id": "restart-print", "name": "Restart printing", "description": "Stops and starts the print service."}
		]
	}
}
)json";

#endif
